#pragma once

#include <memory>

#include "contract/messaging/Future.h"
#include "contract/messaging/Message.h"

namespace connector {

/// What every provider operation returns: the reply, or the failure, once it is there.
using Reply = Future<std::unique_ptr<Message>>;

} // namespace connector
