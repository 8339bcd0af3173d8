#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "application/Application.h"
#include "contract/common/Export.h"
#include "contract/messaging/ServiceProvider.h"

/// A library that connector-host loads by --provider ROUTE=FILE. It exports one function, which the
/// macro CONNECTOR_PROVIDER defines:
///
///     std::shared_ptr<connector::ServiceProvider>
///     makeProvider(connector::http::Application& application, const std::string& route);
///
///     CONNECTOR_PROVIDER(makeProvider)
///
/// The library is never unloaded.
namespace connector::http {

/// The version of the binary interface between the library and the host. Raised, like the SONAME,
/// by every change of the installed headers that is not binary compatible.
inline constexpr std::uint32_t kProviderAbi = 1;

/// What the exported function returns: constant, and valid for good.
struct ProviderModule
{
    /// The first member in every version.
    std::uint32_t abi = kProviderAbi;

    /// Makes the provider that is mounted at @p route. May also register providers, message types
    /// with their receivers and commands. Called once, before the servers start. What it throws
    /// ends the start of the host.
    ///
    /// The parts of the application (`Application::serializer` and so on) may be kept, but for its
    /// bus, which keeps the provider: it would never be destroyed. A provider sends by the context
    /// that it is given.
    std::shared_ptr<ServiceProvider> (*create)(Application& application, const std::string& route);
};

} // namespace connector::http

/// Defines the exported function; once in a library, outside of every namespace.
#define CONNECTOR_PROVIDER(function)                                                               \
    extern "C" CONNECTOR_API const ::connector::http::ProviderModule*                              \
    connector_provider_module() noexcept;                                                          \
    const ::connector::http::ProviderModule* connector_provider_module() noexcept                  \
    {                                                                                              \
        static constexpr ::connector::http::ProviderModule module{::connector::http::kProviderAbi, \
                                                                  function};                       \
        return &module;                                                                            \
    }
