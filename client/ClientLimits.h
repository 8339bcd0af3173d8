#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "contract/common/MemoryBudget.h"

namespace connector::http {

/// How long an upstream server may take, each a millisecond to a day, and how much it may send.
struct ClientLimits
{
    /// Until the connection is accepted. A machine that is down does not refuse, it is silent.
    std::chrono::milliseconds connectTimeout = std::chrono::seconds(10);

    /// Without a byte taken or sent: an upstream that hangs. Above what a slow answer takes to
    /// begin.
    std::chrono::milliseconds silenceTimeout = std::chrono::seconds(30);

    /// An attempt as a whole, from connecting to the last byte of the answer. It ends an upstream
    /// that sends a byte now and then, which would hold the thread of its request for hours. Above
    /// what the largest usual answer takes over the slowest usual line.
    std::chrono::milliseconds answerTimeout = std::chrono::seconds(120);

    /// Largest body of an answer, in bytes. It is held in memory whole.
    std::size_t maxBody = std::size_t{512} << 20U;

    /// The memory of all bodies that are held at a time. By default the process' one, which
    /// requests' bodies share. Null: unbounded.
    std::shared_ptr<common::MemoryBudget> bodyMemory = common::MemoryBudget::ofBodies();
};

} // namespace connector::http

/// The fixed limits of outgoing HTTP, in one place.
namespace connector::http::client {

/// How often a request is tried.
inline constexpr int kAttempts = 5;

/// Steps of the waits that watch a stop token.
inline constexpr std::chrono::milliseconds kStopStep{100};

/// Largest head of an answer, in bytes.
inline constexpr std::size_t kMaxResponseHead = std::size_t{64} << 10U;
/// Interim answers (1xx) before the final one.
inline constexpr int kMaxInterimResponses = 32;

} // namespace connector::http::client
