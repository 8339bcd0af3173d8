#include "host/ProviderLoader.h"

#include <dlfcn.h>
#include <filesystem>
#include <stdexcept>

#include "application/ProviderModule.h"
#include "contract/common/Failure.h"

namespace connector::host {

namespace {

using http::ProviderModule;
using EntryPoint = const ProviderModule* (*)();

constexpr const char* kEntryPoint = "connector_provider_module";

std::string loaderError()
{
    const auto* const text = dlerror();
    return text != nullptr ? text : "Unknown failure.";
}

const ProviderModule& openModule(const std::string& file)
{
    // Absolute: the loader would look for a bare name in the folders of the system's libraries.
    const auto path = std::filesystem::absolute(file);
    // Never unloaded: nobody knows when the last object of its classes is gone.
    void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) {
        throw std::runtime_error(loaderError());
    }
    const auto entryPoint = reinterpret_cast<EntryPoint>(dlsym(library, kEntryPoint));
    if (entryPoint == nullptr) {
        throw std::runtime_error(std::string("It exports no function ") + kEntryPoint + ".");
    }
    const auto* const module = entryPoint();
    if (module == nullptr) {
        throw std::runtime_error(std::string(kEntryPoint) + " returned nothing.");
    }
    if (module->abi != http::kProviderAbi) {
        throw std::runtime_error("It was built for version " + std::to_string(module->abi) +
                                 " of the interface, and this host has version " +
                                 std::to_string(http::kProviderAbi) + ".");
    }
    return *module;
}

} // namespace

std::shared_ptr<ServiceProvider> loadProvider(const ProviderRoute& provider,
                                              http::Application& application)
{
    try {
        auto made = openModule(provider.file).create(application, provider.route);
        if (made == nullptr) {
            throw std::runtime_error("It made no provider.");
        }
        return made;
    } catch (...) {
        throw std::runtime_error("Cannot load the provider " + provider.file + ": " +
                                 common::textOfCurrentException());
    }
}

} // namespace connector::host
