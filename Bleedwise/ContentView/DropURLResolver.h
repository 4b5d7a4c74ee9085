#pragma once

#include <optional>

#include <QUrl>
#include <QVariant>

/// What an item dropped on the window stands for.
namespace Bleedwise::DropURLResolver {

/// The URL of a dropped item. Bytes that are UTF-8 are read as the text of a URL and as nothing
/// else; an item that is a URL is that URL. Plain text is not a URL, whatever it says, since a
/// dragged selection of words must not open files. Absent where there is no item, or no valid URL.
/// Works on any thread.
std::optional<QUrl> url(const QVariant& item);

} // namespace Bleedwise::DropURLResolver
