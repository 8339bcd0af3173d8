#pragma once

#include <iosfwd>
#include <memory>

#include "contract/common/Export.h"
#include "contract/messaging/Future.h"
#include "contract/streams/DataBuffer.h"
#include "contract/streams/Streams.h"

namespace connector::reactive_streams {

/// Writes every buffer of @p publisher to @p stream, in order, and flushes it at the end. The
/// writes run on the publisher's threads.
/// @param publisher never null; the caller keeps it until the future is resolved.
/// @param stream must live until the future is resolved.
/// @return resolves to whether every write succeeded; fails with the publisher's failure, and with
///         "Promise destroyed before it provided a value." when the publisher falls silent.
CONNECTOR_API Future<bool>
copyPublisherToStream(const std::shared_ptr<PublisherAPI<common::DataBuffer>>& publisher,
                      std::ostream& stream);

} // namespace connector::reactive_streams
