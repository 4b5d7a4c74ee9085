#include "ContentView/ConsoleSelection.h"

#include <algorithm>

#include <QClipboard>
#include <QGuiApplication>
#include <QStringList>
#include <QTextBoundaryFinder>

namespace Bleedwise {

void ConsoleSelection::setLines(QAbstractItemModel* lines) {
    if (lines == lines_)
        return;
    if (lines_)
        lines_->disconnect(this);
    lines_ = lines;
    if (lines_) {
        connect(lines_, &QAbstractItemModel::rowsRemoved, this, &ConsoleSelection::clear);
        connect(lines_, &QAbstractItemModel::modelReset, this, &ConsoleSelection::clear);
    }
    clear();
    emit linesChanged();
}

void ConsoleSelection::begin(int line, int position) {
    const auto place = inside({line, position});
    set(place, place);
}

void ConsoleSelection::extendTo(int line, int position) {
    set(anchor_, inside({line, position}));
}

void ConsoleSelection::extendByLines(int count) {
    if (lineCount() == 0)
        return;
    if (current_.line < 0) {
        // From the line that the console shows last, upwards, or the first, downwards.
        const auto place = count > 0 ? inside({0, 0}) : end();
        set(place, place);
    }
    const auto target = current_.line + count;
    if (target < 0)
        extendTo(0, 0);
    else if (target >= lineCount())
        set(anchor_, end());
    else
        extendTo(target, current_.position);
}

void ConsoleSelection::selectWord(int line, int position) {
    const auto place = inside({line, position});
    if (place.line < 0)
        return;
    const auto text = this->line(place.line);
    QTextBoundaryFinder words(QTextBoundaryFinder::Word, text);
    words.setPosition(place.position);
    auto first = place.position;
    if (!words.isAtBoundary() || first == text.size())
        first = static_cast<int>(words.toPreviousBoundary());
    words.setPosition(first);
    const auto last = static_cast<int>(words.toNextBoundary());
    if (first >= 0 && last >= 0)
        set({place.line, first}, {place.line, last});
}

void ConsoleSelection::selectAll() {
    if (lineCount() > 0)
        set({0, 0}, end());
}

void ConsoleSelection::clear() {
    set({}, {});
}

QPoint ConsoleSelection::rangeIn(int line) const {
    const auto [first, last] = std::minmax(anchor_, current_);
    if (isEmpty() || line < first.line || line > last.line)
        return {};
    const auto start = line == first.line ? first.position : 0;
    const auto end = line == last.line ? last.position : static_cast<int>(this->line(line).size());
    return {start, end};
}

QString ConsoleSelection::text() const {
    const auto [first, last] = std::minmax(anchor_, current_);
    if (isEmpty())
        return {};
    QStringList parts;
    for (int number = first.line; number <= last.line; ++number) {
        const auto range = rangeIn(number);
        parts.append(line(number).mid(range.x(), range.y() - range.x()));
    }
    return parts.join('\n');
}

void ConsoleSelection::copy() const {
    if (!isEmpty())
        QGuiApplication::clipboard()->setText(text());
}

QString ConsoleSelection::line(int number) const {
    if (!lines_)
        return {};
    const auto role = lines_->roleNames().key("line", Qt::DisplayRole);
    return lines_->index(number, 0).data(role).toString();
}

ConsoleSelection::Place ConsoleSelection::inside(Place place) const {
    if (lineCount() == 0)
        return {};
    if (place.line < 0)
        return {0, 0};
    if (place.line >= lineCount())
        return end();
    const auto length = static_cast<int>(line(place.line).size());
    return {place.line, std::clamp(place.position, 0, length)};
}

ConsoleSelection::Place ConsoleSelection::end() const {
    const auto last = lineCount() - 1;
    return {last, static_cast<int>(line(last).size())};
}

void ConsoleSelection::set(Place anchor, Place current) {
    if (anchor == anchor_ && current == current_)
        return;
    anchor_ = anchor;
    current_ = current;
    emit changed();
}

} // namespace Bleedwise
