#include "ContentView/ConsoleText.h"

#include <algorithm>

#include <QTextBlockFormat>
#include <QTextCursor>
#include <QTextDocument>

namespace Bleedwise {
namespace {

/// Lines a turn: written and laid out in a few milliseconds.
constexpr int portion = 200;

/// A log line is one paragraph, also where a file name has a line break in it.
QString asParagraph(QString line) {
    return line.replace('\n', QChar::LineSeparator).replace('\r', QChar::LineSeparator);
}

} // namespace

ConsoleText::ConsoleText(QObject* parent) : QObject(parent) {
    nextPortion_.setSingleShot(true);
    nextPortion_.setInterval(0);
    connect(&nextPortion_, &QTimer::timeout, this, &ConsoleText::feed);
}

void ConsoleText::setDocument(QQuickTextDocument* document) {
    if (document == document_)
        return;
    document_ = document;
    if (document_)
        document_->textDocument()->setUndoRedoEnabled(false);
    startAgain();
    emit documentChanged();
}

void ConsoleText::setLines(QAbstractItemModel* lines) {
    if (lines == lines_)
        return;
    if (lines_)
        lines_->disconnect(this);
    lines_ = lines;
    if (lines_) {
        connect(lines_, &QAbstractItemModel::rowsInserted, &nextPortion_,
                qOverload<>(&QTimer::start));
        connect(lines_, &QAbstractItemModel::rowsRemoved, this, &ConsoleText::startAgain);
        connect(lines_, &QAbstractItemModel::modelReset, this, &ConsoleText::startAgain);
    }
    startAgain();
    emit linesChanged();
}

void ConsoleText::setLineSpacing(double spacing) {
    if (spacing == lineSpacing_)
        return;
    lineSpacing_ = spacing;
    startAgain();
    emit lineSpacingChanged();
}

void ConsoleText::startAgain() {
    written_ = 0;
    if (document_) {
        setFeeding(true);
        document_->textDocument()->clear();
        setFeeding(false);
    }
    nextPortion_.start();
}

void ConsoleText::feed() {
    if (!document_ || !lines_ || written_ >= lines_->rowCount())
        return;
    setFeeding(true);
    const auto end = std::min(written_ + portion, lines_->rowCount());
    QTextBlockFormat format;
    format.setBottomMargin(lineSpacing_);
    QTextCursor cursor(document_->textDocument());
    cursor.movePosition(QTextCursor::End);
    cursor.beginEditBlock();
    for (; written_ < end; ++written_) {
        if (written_ == 0)
            cursor.setBlockFormat(format);
        else
            cursor.insertBlock(format);
        cursor.insertText(asParagraph(lines_->index(written_, 0).data().toString()));
    }
    cursor.endEditBlock();
    setFeeding(false);
    if (written_ < lines_->rowCount())
        nextPortion_.start();
}

void ConsoleText::setFeeding(bool feeding) {
    if (std::exchange(feeding_, feeding) != feeding)
        emit feedingChanged();
}

} // namespace Bleedwise
