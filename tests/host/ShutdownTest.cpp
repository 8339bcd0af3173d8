#include "host/Shutdown.h"

#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <unistd.h>

namespace connector::host {
namespace {

using testing::ExitedWithCode;

TEST(ShutdownTest, ASignalAsksForTheEndUnlessItIsIgnored)
{
    constexpr int kOrderly = 7;
    const auto endBySignal = [](int signal) {
        std::signal(signal, SIG_DFL);
        {
            const Shutdown shutdown;
            kill(getpid(), signal);
            shutdown.wait();
        }
        std::_Exit(kOrderly);
    };
    const auto ignoreSignal = [] {
        std::signal(SIGHUP, SIG_IGN); // as nohup does
        const Shutdown shutdown;
        sigset_t blocked;
        pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        std::_Exit(kOrderly + sigismember(&blocked, SIGHUP));
    };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2, SIGALRM}) {
        SCOPED_TRACE(signal);
        EXPECT_EXIT(endBySignal(signal), ExitedWithCode(kOrderly), "");
    }
    EXPECT_EXIT(ignoreSignal(), ExitedWithCode(kOrderly), "");
}

TEST(ShutdownTest, WhatDoesNotEndIsNamedAndTheEndForced)
{
    const auto endNever = [] {
        Shutdown shutdown;
        shutdown.ending("the server \"main\"");
        shutdown.request();
        for (;;) {
            pause();
        }
    };
    EXPECT_EXIT(endNever(), ExitedWithCode(3),
                "connector-host: the server \"main\" did not end in time.");
}

} // namespace
} // namespace connector::host
