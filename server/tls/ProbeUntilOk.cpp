#include "server/tls/ProbeUntilOk.h"

#include <string>

#include "contract/common/Failure.h"
#include "contract/common/Thread.h"
#include "server/ServerLog.h"

namespace connector::http {

namespace {

constexpr int kProbeAttempts = 100;
constexpr int kStatusOk = 200;

/// @return what was wrong with the attempt, empty if nothing was.
std::string attempt(const std::function<int()>& probe)
{
    try {
        const auto status = probe();
        return status == kStatusOk ? "" : "status " + std::to_string(status);
    } catch (...) {
        return common::textOfCurrentException();
    }
}

bool probeOften(const std::function<int()>& probe)
{
    std::string failure;
    for (int i = 0; i < kProbeAttempts; ++i) {
        failure = attempt(probe);
        if (failure.empty()) {
            return true;
        }
    }
    kServerLog.write(common::Level::Warning, "The HTTPS server does not answer: " + failure);
    return false;
}

} // namespace

bool probeUntilOk(const std::function<int()>& probe)
{
    bool answers = false;
    common::startThread("ssl-probe", [&probe, &answers] { answers = probeOften(probe); }).join();
    return answers;
}

} // namespace connector::http
