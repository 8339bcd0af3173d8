#pragma once

#include <memory>

#include "contract/common/Export.h"
#include "contract/messaging/Context.h"

namespace connector {

/// The message bus as those who send see it.
class CONNECTOR_API Connector
{
public:
    Connector() = default;
    virtual ~Connector();

    Connector(const Connector&) = delete;
    Connector& operator=(const Connector&) = delete;

    /// A new context for a new exchange. Any thread; does not block.
    virtual std::shared_ptr<Context> createContext() = 0;
};

} // namespace connector
