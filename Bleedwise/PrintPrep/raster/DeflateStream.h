#pragma once

#include <string>

/// Joining of DEFLATE streams (RFC 1951). Any thread.
namespace Bleedwise::DeflateStream {

/// A complete raw stream as one that another may follow, from the next byte on: its last block no
/// longer says that it is the last, and an empty one behind it ends on a byte's end. Decompresses
/// to the same bytes. Throws `std::invalid_argument` when `stream` is not complete and correct.
std::string continued(std::string stream);

} // namespace Bleedwise::DeflateStream
