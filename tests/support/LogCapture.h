#pragma once

#include <string>
#include <vector>

#include <boost/make_shared.hpp>

#include "contract/common/Log.h"

namespace connector::test {

/// Collects the log records of all channels and threads while it lives, and sets the level
/// meanwhile. Records still go to the log's own destination as well.
class ScopedLogCapture
{
public:
    explicit ScopedLogCapture(common::Level level = common::Level::Trace);
    ~ScopedLogCapture();

    ScopedLogCapture(const ScopedLogCapture&) = delete;
    ScopedLogCapture& operator=(const ScopedLogCapture&) = delete;

    /// Every record, as "channel: text", in order.
    std::vector<std::string> records() const;

    /// Whether some record's text holds @p part.
    bool contains(const std::string& part) const;

private:
    struct Sink;

    const common::Level previousLevel_;
    const boost::shared_ptr<Sink> sink_;
};

} // namespace connector::test
