#include "contract/messaging/Connector.h"

namespace connector {

Connector::~Connector() = default;

} // namespace connector
