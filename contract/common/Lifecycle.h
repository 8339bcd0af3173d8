#pragma once

#include "contract/common/Export.h"

namespace connector::common {

/// Base of objects that are started and stopped.
class CONNECTOR_API Lifecycle
{
public:
    virtual ~Lifecycle();

    Lifecycle(const Lifecycle&) = delete;
    Lifecycle& operator=(const Lifecycle&) = delete;

    /// Starts the object; does nothing if it runs.
    virtual void start() = 0;

    /// Stops the object; does nothing if it does not run.
    virtual void stop() = 0;

    [[nodiscard]] virtual bool isRunning() = 0;

protected:
    Lifecycle() = default;
};

} // namespace connector::common
