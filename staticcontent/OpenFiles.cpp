#include "staticcontent/OpenFiles.h"

#include <utility>

#include "contract/common/Tick.h"

namespace connector::http::staticcontent {

namespace {

/// What was not read again for so long is closed.
constexpr long long kPatienceTicks = 1000;

} // namespace

OpenFiles::OpenFiles()
    : slots_(std::make_shared<Slots>()), closing_(common::periodic(
                                             [weakSlots = std::weak_ptr(slots_)](long long) {
                                                 if (const auto slots = weakSlots.lock()) {
                                                     for (auto& [slot] : *slots) {
                                                         slot.closeUnused();
                                                     }
                                                 }
                                             },
                                             kPatienceTicks))
{}

OpenFiles::File OpenFiles::open(const filesystem::Path& path, filesystem::FileStatus& status)
{
    auto& slot = slots_->mine();
    if (auto file = slot.find(path, status.identity)) {
        return file;
    }
    auto opened = filesystem::ReadableFile::open(path);
    if (!opened.isOpen()) {
        return nullptr;
    }
    status = opened.status();
    if (status.type != filesystem::FileType::Regular) {
        return nullptr;
    }
    auto file = std::make_shared<const filesystem::ReadableFile>(std::move(opened));
    slot.keep({path, status.identity, file, true});
    return file;
}

OpenFiles::File OpenFiles::Slot::find(const filesystem::Path& path,
                                      const filesystem::FileIdentity& identity)
{
    const std::lock_guard lock(mutex_);
    for (auto& entry : entries_) {
        if (entry.identity == identity && entry.path == path) {
            entry.isUsed = true;
            return entry.file;
        }
    }
    return nullptr;
}

void OpenFiles::Slot::keep(Entry entry)
{
    const std::lock_guard lock(mutex_);
    std::swap(entries_[oldest_], entry);
    oldest_ = (oldest_ + 1) % kMostFiles;
}

void OpenFiles::Slot::closeUnused()
{
    std::array<Entry, kMostFiles> closed;
    const std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < kMostFiles; ++i) {
        if (!std::exchange(entries_[i].isUsed, false)) {
            std::swap(closed[i], entries_[i]);
        }
    }
}

} // namespace connector::http::staticcontent
