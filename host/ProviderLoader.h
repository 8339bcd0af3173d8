#pragma once

#include <memory>

#include "application/Application.h"
#include "contract/messaging/ServiceProvider.h"
#include "host/RouteSpec.h"

namespace connector::host {

/// Loads the library of a provider and calls its function that makes the provider. The library is
/// never unloaded.
/// @throws std::runtime_error "Cannot load the provider " + file + ": " + the reason: what the
///         system says, that it exports no connector_provider_module, that it was built for another
///         version of the interface, what it throws, or that it made no provider.
std::shared_ptr<ServiceProvider> loadProvider(const ProviderRoute& provider,
                                              http::Application& application);

} // namespace connector::host
