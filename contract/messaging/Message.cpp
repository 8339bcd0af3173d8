#include "contract/messaging/Message.h"

namespace connector {

// Out of line, so that the type information has one home in the library.
Message::~Message() = default;

} // namespace connector
