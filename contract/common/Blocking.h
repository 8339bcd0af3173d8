#pragma once

#include "contract/common/Export.h"

namespace connector::common {

/// Owns threads that are to be replaced while they block, such as the workers of an event loop.
class CONNECTOR_API BlockingListener
{
public:
    BlockingListener() = default;
    virtual ~BlockingListener() = default;
    BlockingListener(const BlockingListener&) = delete;
    BlockingListener& operator=(const BlockingListener&) = delete;

    /// The calling thread is about to block. Must not block itself.
    virtual void onBlocking() noexcept = 0;
};

/// Makes @p listener the one that the calling thread tells before it blocks; null for none.
/// @return the listener before.
CONNECTOR_API BlockingListener* setBlockingListener(BlockingListener* listener) noexcept;

/// To be called before an operation that may block for long: tells the owner of the calling thread,
/// if there is one, so that another thread can take its place. Does not block.
CONNECTOR_API void announceBlocking() noexcept;

} // namespace connector::common
