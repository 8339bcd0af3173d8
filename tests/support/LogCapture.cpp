#include "tests/support/LogCapture.h"

#include <mutex>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/unlocked_frontend.hpp>
#include <boost/make_shared.hpp>

namespace connector::test {

namespace {

namespace logging = boost::log;

class Backend final : public logging::sinks::basic_sink_backend<logging::sinks::concurrent_feeding>
{
public:
    void consume(const logging::record_view& record)
    {
        const auto level = logging::extract<common::Level>("Severity", record);
        const auto channel = logging::extract<std::string>("Channel", record);
        const auto text = record[logging::expressions::smessage];
        if (level && channel && text) {
            const std::lock_guard lock(mutex_);
            records_.push_back({*level, *channel, *text});
        }
    }

    std::vector<LogRecord> records() const
    {
        const std::lock_guard lock(mutex_);
        return records_;
    }

private:
    mutable std::mutex mutex_; // guards records_
    std::vector<LogRecord> records_;
};

} // namespace

struct ScopedLogCapture::Impl
{
    using Sink = logging::sinks::unlocked_sink<Backend>;

    const boost::shared_ptr<Backend> backend = boost::make_shared<Backend>();
    const boost::shared_ptr<Sink> sink = boost::make_shared<Sink>(backend);
};

ScopedLogCapture::ScopedLogCapture(common::Level level)
    : previousLevel_(common::Log::level()), impl_(std::make_unique<Impl>())
{
    logging::core::get()->add_sink(impl_->sink);
    common::Log::setLevel(level);
}

ScopedLogCapture::~ScopedLogCapture()
{
    common::Log::setLevel(previousLevel_);
    logging::core::get()->remove_sink(impl_->sink);
}

std::vector<LogRecord> ScopedLogCapture::records() const
{
    return impl_->backend->records();
}

std::vector<std::string> ScopedLogCapture::texts(const std::string& channel) const
{
    std::vector<std::string> texts;
    for (const auto& record : records()) {
        if (record.channel == channel) {
            texts.push_back(record.text);
        }
    }
    return texts;
}

bool ScopedLogCapture::contains(const std::string& part) const
{
    for (const auto& record : records()) {
        if (record.text.find(part) != std::string::npos) {
            return true;
        }
    }
    return false;
}

} // namespace connector::test
