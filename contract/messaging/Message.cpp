#include "contract/messaging/Message.h"

namespace connector {

// Out of line, so that the type information has one home in the library.
Message::~Message() = default;

const std::type_info& Message::addressee() const noexcept
{
    return typeid(void);
}

} // namespace connector
