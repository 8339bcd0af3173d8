#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "contract/common/Export.h"
#include "contract/messaging/Address.h"
#include "contract/messaging/Future.h"
#include "contract/messaging/Message.h"

namespace connector {

/// The state of one exchange, handed to every provider on its way, and the way to send on. A
/// session replaces it by its own, so several exchanges may share one: every operation may be
/// called from any thread.
class CONNECTOR_API Context
{
public:
    Context() = default;
    virtual ~Context();

    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    /// Delivers @p message to the provider at @p address. The provider runs on the calling thread;
    /// blocks as long as its `deliver` does.
    /// @return the future of the reply; every failure, of the delivery or of the provider, is in
    /// it.
    virtual Future<std::unique_ptr<Message>> send(std::unique_ptr<Message>&& message,
                                                  Address&& address) = 0;

    /// Stores a named attribute, replacing an earlier one of that name.
    void setAttribute(const std::string& name, std::string value);

    /// The attribute, if one of that name was set.
    [[nodiscard]] std::optional<std::string> getAttribute(const std::string& name) const;

private:
    using Attribute = std::pair<std::string, std::string>;

    mutable std::mutex mutex_;          ///< Guards attributes_.
    std::vector<Attribute> attributes_; ///< There are but a few.
};

} // namespace connector
