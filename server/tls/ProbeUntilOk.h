#pragma once

#include <functional>

namespace connector::http {

/// Probes a secure server up to 100 times, without a pause, until the status is 200. It does so on
/// a thread of its own, where a connection that the server closes raises no SIGPIPE. What the last
/// of 100 attempts failed with is logged. Blocks meanwhile.
/// @param probe sends one request and returns the status of the answer; any exception of it counts
///        as a failed attempt.
/// @return whether there was an answer of status 200.
/// @throws std::system_error if there is no thread to be had.
bool probeUntilOk(const std::function<int()>& probe);

} // namespace connector::http
