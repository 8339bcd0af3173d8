#pragma once

#include <memory>
#include <typeinfo>

#include "contract/common/Export.h"

namespace connector {

/// Base of every message. Messages travel as `std::unique_ptr<Message>`; whoever holds the pointer
/// owns the message. A bare `Message` is the plain acknowledgement.
class CONNECTOR_API Message
{
public:
    Message() = default;
    virtual ~Message();

    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;

    /// The provider interface whose providers handle this message, as its type; void if there is
    /// none. A look costs a tenth of the dynamic cast that would tell it as well.
    [[nodiscard]] virtual const std::type_info& addressee() const noexcept;
};

/// The message as an @p M if that is exactly its run-time type, else null. A null message gives
/// null. Ownership stays with the caller.
template <typename M>
[[nodiscard]] M* messageAs(Message* message) noexcept
{
    return message != nullptr && typeid(*message) == typeid(M) ? static_cast<M*>(message) : nullptr;
}

/// As above, for an owned message.
template <typename M>
[[nodiscard]] M* messageAs(const std::unique_ptr<Message>& message) noexcept
{
    return messageAs<M>(message.get());
}

} // namespace connector
