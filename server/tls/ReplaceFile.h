#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>

namespace connector::http {

/// Makes @p content the whole content of a file, which is made or replaced. A crash at any moment
/// leaves the old content or the new, never a part: the content goes to a new file in the same
/// directory, reaches the disk, and is then renamed. What a crash may leave behind is that other
/// file, the name with a "." and six letters after it. Blocks for the disk.
///
/// @param path where the file is, UTF-8; a symbolic link there is replaced, not followed.
/// @param mode the permissions of the file, whatever the process' mask. It has no other at any
/// time,
///        except that it begins with 0600.
/// @throws std::system_error "Cannot write " + path + ": " + reason; the old content stays.
void replaceFile(const std::string& path, std::string_view content, mode_t mode);

} // namespace connector::http
