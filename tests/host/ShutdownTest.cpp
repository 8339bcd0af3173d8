#include "host/Shutdown.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace connector::host {
namespace {

TEST(ShutdownTest, WhatDoesNotEndIsNamedAndTheEndForced)
{
    const auto endNever = [] {
        Shutdown shutdown;
        shutdown.ending("the server \"main\"");
        shutdown.request();
        pause();
    };
    EXPECT_EXIT(endNever(), testing::ExitedWithCode(3),
                "connector-host: the server \"main\" did not end in time.");
}

} // namespace
} // namespace connector::host
