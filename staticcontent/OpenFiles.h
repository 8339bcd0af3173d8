#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

#include "contract/common/ProcessorSlots.h"
#include "contract/common/TickManager.h"
#include "contract/platform/FileSystem.h"
#include "contract/platform/ReadableFile.h"

namespace connector::http::staticcontent {

/// Keeps the files that were read last open for a second or two, since to open and close a small
/// file is a tenth of what it costs. A file is found again only while its status says that nothing
/// about it has changed, so that what is read is what the path leads to now. Any thread.
class OpenFiles
{
public:
    using File = std::shared_ptr<const filesystem::ReadableFile>;

    OpenFiles();

    /// Opens a regular file, or finds it open.
    /// @param status of what @p path leads to, just looked up. Becomes that of the file itself: by
    ///        the time of the opening another one may have taken its place.
    /// @return null where it cannot be opened, or is no regular file any more.
    /// @throws filesystem::ResourceShortage
    File open(const filesystem::Path& path, filesystem::FileStatus& status);

private:
    struct Entry
    {
        filesystem::Path path;
        filesystem::FileIdentity identity;
        File file; ///< Null: the entry is free.
        bool isUsed = false;
    };

    /// The files that one processor reads, each in any place.
    class Slot
    {
    public:
        File find(const filesystem::Path& path, const filesystem::FileIdentity& identity);
        void keep(Entry entry);
        void closeUnused();

    private:
        static constexpr std::size_t kMostFiles = 8;

        std::mutex mutex_; ///< Guards what follows. Files are closed without it.
        std::array<Entry, kMostFiles> entries_;
        std::size_t oldest_ = 0;
    };
    using Slots = common::ProcessorSlots<Slot>;

    const std::shared_ptr<Slots> slots_;
    const std::shared_ptr<common::TickManager::Canceller> closing_;
};

} // namespace connector::http::staticcontent
