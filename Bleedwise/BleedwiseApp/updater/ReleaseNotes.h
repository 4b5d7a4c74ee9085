#pragma once

#include <QString>

/// What is new in a version, as the window shows it: text with links, and nothing else, whatever a
/// feed contains. The results are rich text: a row of `<p>`, of which list items and headings have
/// the class "item", "heading1", "heading2" or "heading3", with escaped characters, line breaks and
/// links to http and https addresses in them. Longer notes end with an ellipsis.
namespace Bleedwise::ReleaseNotes {

/// Keeps the words, the headings, the paragraphs, the items of lists and the links.
QString fromHTML(const QString& html);

/// Makes links of the addresses in it.
QString fromPlainText(const QString& text);

} // namespace Bleedwise::ReleaseNotes
