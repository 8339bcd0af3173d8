#include "contract/messaging/Future.h"

void attachVoidContinuation(connector::Future<int> future)
{
    static_cast<void>(future.then([](connector::Future<int>) {}));
}
