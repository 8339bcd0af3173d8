#pragma once

#include <exception>
#include <string>

namespace connector::test {

/// The text of what @p action throws, or "" if it throws nothing.
template <typename Action>
std::string failureOf(const Action& action)
{
    try {
        static_cast<void>(action());
        return "";
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

} // namespace connector::test
