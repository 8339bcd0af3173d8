#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>

namespace connector::http {

/// Makes @p content the whole content of a file, which is made or replaced. A crash at any moment
/// leaves the old content or the new, never a part: the content goes to a new file in the same
/// directory, reaches the disk, and is then renamed. What a crash may leave behind is that other
/// file, which `removeUnfinished` removes. Blocks for the disk.
///
/// @param path where the file is, UTF-8; a symbolic link there is replaced, not followed.
/// @param mode the permissions of the file, whatever the process' mask. Until they are set, the
///        file has 0600.
/// @throws std::system_error "Cannot write " + path + ": " + reason; the old content stays.
void replaceFile(const std::string& path, std::string_view content, mode_t mode);

/// Removes what calls of `replaceFile` for @p path left behind in processes that were killed
/// meanwhile: files of that name followed by ".unfinished-" and six letters. One that is being
/// written now is locked, and stays. What cannot be read or removed is passed over.
void removeUnfinished(const std::string& path);

} // namespace connector::http
