#pragma once
// Reading one key of an INI file, with the answers of the platform's GetPrivateProfileStringA.

#include <cstddef>
#include <string>
#include <string_view>

namespace qorvintr::support {

// The value of `key` in `section` of the file, or `default_value` when the file, the section or
// the key is missing (or the file cannot be read). Like the platform:
//   - sections and keys are matched without regard to case; the first matching section, and the
//     first matching key in it, win;
//   - blanks (and tabs) around keys and values are ignored; a value enclosed in a matching pair
//     of double or single quotes loses them;
//   - lines starting with ";" and lines that are neither "[section]" nor "key=value" are skipped;
//   - the answer fits a buffer of `buffer_size` characters with its terminating NUL: at most
//     buffer_size - 1 characters come back (none when buffer_size is 0); a default loses its
//     trailing blanks.
// On Windows the platform function itself answers (through the ANSI code page). Elsewhere the
// file is read as UTF-16 when it starts with that byte order mark, as UTF-8 when it is valid
// UTF-8 (with or without a mark), else as Windows-1252; a name without a folder is taken from
// the current directory (the platform would look in the Windows folder).
std::u16string ReadProfileString(std::u16string_view section, std::u16string_view key,
                                 std::u16string_view default_value,
                                 std::u16string_view file_name,
                                 std::size_t buffer_size = 128);

}  // namespace qorvintr::support
