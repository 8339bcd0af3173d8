#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "contract/platform/ReadableFile.h"
#include "contract/streams/OneShotPublisher.h"

namespace connector::filesystem {

/// A run of bytes of an open file. Whoever holds it keeps the file open, whatever becomes of the
/// path that led to it.
struct FileRange
{
    std::shared_ptr<const ReadableFile> file; ///< Null: no bytes of any file.
    std::uint64_t offset = 0;
    std::size_t length = 0; ///< The file may have become shorter than its end since.

    /// The bytes as they are now, as ReadableFile::read.
    [[nodiscard]] common::DataBuffer read() const { return file->read(offset, length); }
};

/// Publishes a range of a file as one buffer, which is read when it is asked for; a body that its
/// reader can also take as the range and hand to the system without reading it.
/// The failure of the stream is a ResourceShortage "Out of memory!".
using FilePublisher = reactive_streams::OneShotPublisher<common::DataBuffer, FileRange>;

} // namespace connector::filesystem
