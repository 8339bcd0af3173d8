#include "contract/common/Blocking.h"

#include <utility>

namespace connector::common {

namespace {

thread_local BlockingListener* blockingListener = nullptr;

} // namespace

BlockingListener* setBlockingListener(BlockingListener* listener) noexcept
{
    return std::exchange(blockingListener, listener);
}

void announceBlocking() noexcept
{
    if (blockingListener != nullptr) {
        blockingListener->onBlocking();
    }
}

} // namespace connector::common
