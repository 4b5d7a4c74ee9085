#pragma once

#include <filesystem>
#include <string>

/// Names for files that do not outlive a conversion. Nothing is created here.
namespace Bleedwise::TemporaryFile {

/// The user's temporary directory: `$TMPDIR`, else `/tmp`; always absolute. `/tmp` also when the
/// path in `TMPDIR` has a `%` or is not UTF-8: Ghostscript, which writes there, would take the one
/// for the place of a page number and drop the other.
std::filesystem::path directory();

/// A fresh random UUID (RFC 4122, version 4) in its canonical form, in upper case.
std::string randomUUID();

/// A new name in the temporary directory: a random UUID with the extension "pdf".
std::filesystem::path freshWorkFileURL();

} // namespace Bleedwise::TemporaryFile
