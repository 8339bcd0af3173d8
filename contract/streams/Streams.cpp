#include "contract/streams/Streams.h"

namespace connector::reactive_streams {

// Out of line, so that the type information has one home in the library.
Publisher::~Publisher() = default;
Subscription::~Subscription() = default;
Subscriber::~Subscriber() = default;
Processor::~Processor() = default;
Canceller::~Canceller() = default;

} // namespace connector::reactive_streams
