#pragma once

#include <string>
#include <string_view>

/// Bytes of streams that any text scan of the file may run over.
///
/// `PDFBoxPatcher` reads a file as text, object by object; "endobj" inside a stream would end the
/// object there, and what follows in the stream could pose as page objects. In compressed data it
/// occurs by chance about once in 260 TB, but a hostile picture can bring it about on purpose.
namespace Bleedwise::StreamData {

/// Looks for that word in bytes that arrive in pieces.
class Watch {
public:
    void read(std::string_view piece);
    bool isDangerous() const noexcept { return isDangerous_; }

private:
    std::string border_; // the last bytes of what has been read
    bool isDangerous_ = false;
};

/// The bytes for an ASCIIHexDecode filter (ISO 32000-1, 7.4.2) without its end marker; pieces can
/// be joined. Cannot contain the word.
std::string hexadecimal(std::string_view bytes);

/// What ends such data.
inline constexpr std::string_view hexadecimalEnd = ">";

} // namespace Bleedwise::StreamData
