#include "tests/support/LogCapture.h"

#include <algorithm>
#include <mutex>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/sink.hpp>

namespace connector::test {

namespace logging = boost::log;

struct ScopedLogCapture::Sink final : logging::sinks::sink
{
    Sink() : sink(false) {}

    bool will_consume(const logging::attribute_value_set& /*attributes*/) override { return true; }

    void consume(const logging::record_view& record) override
    {
        const std::lock_guard lock(mutex);
        records.push_back(*logging::extract<std::string>("Channel", record) + ": " +
                          *record[logging::expressions::smessage]);
    }

    void flush() override {}

    std::mutex mutex; // guards records
    std::vector<std::string> records;
};

ScopedLogCapture::ScopedLogCapture(common::Level level)
    : previousLevel_(common::Log::level()), sink_(boost::make_shared<Sink>())
{
    logging::core::get()->add_sink(sink_);
    common::Log::setLevel(level);
}

ScopedLogCapture::~ScopedLogCapture()
{
    common::Log::setLevel(previousLevel_);
    logging::core::get()->remove_sink(sink_);
}

std::vector<std::string> ScopedLogCapture::records() const
{
    const std::lock_guard lock(sink_->mutex);
    return sink_->records;
}

bool ScopedLogCapture::contains(const std::string& part) const
{
    return std::ranges::any_of(records(), [&part](const std::string& record) {
        return record.find(part) != std::string::npos;
    });
}

} // namespace connector::test
