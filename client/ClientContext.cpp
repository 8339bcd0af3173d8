#include "client/ClientContext.h"

#include <future>

namespace connector::http::client {

namespace {

Poco::Net::Context::Ptr makeContext()
{
    using Poco::Net::Context;
    constexpr int kVerificationDepth = 9;
    constexpr bool kLoadDefaultCAs = true;
    return new Context(Context::CLIENT_USE, "", "", "", Context::VERIFY_NONE, kVerificationDepth,
                       kLoadDefaultCAs, "ALL:!ADH:!LOW:!EXP:!MD5:@STRENGTH");
}

} // namespace

Poco::Net::Context::Ptr clientContext()
{
    // On a thread of its own: making a context leaves an entry on the thread's error queue, which
    // would fail a later operation of a secure server on this thread.
    static const auto context = std::async(std::launch::async, makeContext).get();
    return context;
}

} // namespace connector::http::client
