#pragma once

#include <memory>
#include <string>

#include "contract/common/Export.h"
#include "contract/messaging/Context.h"

namespace connector::http {

/// What happened to an HTTP session.
struct CONNECTOR_API LifecycleEvent
{
    enum class Kind
    {
        Created,
        Updated, ///< Renewed at the end of a request, perhaps with another context or after
                 ///< Removed.
        Removed
    };

    Kind kind = Kind::Created;
    std::string id;
    std::shared_ptr<Context> context; ///< The session's; after a removal the one that it had.
};

} // namespace connector::http
