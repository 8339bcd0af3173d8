#include "contract/messaging/ServiceProvider.h"

namespace connector {

ServiceProvider::~ServiceProvider() = default;

void ServiceProvider::onRegistered(const Address& /*address*/) {}

void ServiceProvider::onUnregistered(const Address& /*address*/) {}

} // namespace connector
