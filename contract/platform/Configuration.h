#pragma once

#include <memory>
#include <string>

#include <boost/variant.hpp>

#include "contract/common/Export.h"
#include "contract/messaging/Future.h"
#include "contract/streams/Streams.h"

namespace connector::configuration {

/// The value of a setting. A string literal becomes a `bool` here, as any pointer does: write
/// `std::string("text")`.
using Value =
    boost::variant<bool, int, unsigned int, short, unsigned short, long, unsigned long, long long,
                   unsigned long long, float, double, std::string, std::wstring>;

/// Named settings in named layers. Held by `std::shared_ptr`, possibly null; any thread may call
/// it.
class CONNECTOR_API Configuration
{
public:
    virtual ~Configuration();

    Configuration(const Configuration&) = delete;
    Configuration& operator=(const Configuration&) = delete;

    /// Stores @p value under @p key in @p layer.
    /// @return whether the effective value of the key changed by it; the future may be dropped.
    virtual Future<bool> set(const std::string& key, Value value, const std::string& layer) = 0;

    /// The effective values of @p key, for one subscriber: the present one, if there is one, and
    /// then each change. The stream never completes. A subscriber that asks for less gets the
    /// newest of the values that it had no demand for.
    [[nodiscard]] virtual std::shared_ptr<reactive_streams::PublisherAPI<Value>>
    subscribe(const std::string& key) = 0;

protected:
    Configuration() = default;
};

/// Reads a value from text, as a command line gives it: "true" and "false" are a `bool`; decimal
/// integers an `int` or, where that is too narrow, a `long long` or `unsigned long long`; anything
/// else is a `std::string`.
[[nodiscard]] CONNECTOR_API Value parseValue(const std::string& text);

} // namespace connector::configuration
