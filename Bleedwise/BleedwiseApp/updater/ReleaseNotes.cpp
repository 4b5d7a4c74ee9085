#include "BleedwiseApp/updater/ReleaseNotes.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include <QHash>
#include <QStringView>
#include <QUrl>

namespace Bleedwise::ReleaseNotes {
namespace {

constexpr qsizetype longestNotes = 20'000;

bool isWebAddress(const QUrl& url) {
    return url.isValid() && !url.host().isEmpty() &&
           (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http"));
}

enum class Block { paragraph, listItem, heading1, heading2, heading3 };

QString startOf(Block block) {
    switch (block) {
    case Block::paragraph:
        return QStringLiteral("<p>");
    case Block::listItem:
        return QStringLiteral("<p class=\"item\">\u2022 ");
    case Block::heading1:
        return QStringLiteral("<p class=\"heading1\">");
    case Block::heading2:
        return QStringLiteral("<p class=\"heading2\">");
    case Block::heading3:
        return QStringLiteral("<p class=\"heading3\">");
    }
    return {};
}

/// Collects what is shown. Blocks, links and line breaks come with the text that they are for, so
/// that there are no empty ones.
class Notes {
public:
    /// White space counts as one blank, and as none at the start of a line.
    void addFlowing(QChar character) {
        if (character.isSpace()) {
            blankIsDue_ = !lineIsEmpty_;
            return;
        }
        add(character);
    }

    void add(QChar character) {
        if (isFull() || (!character.isPrint() && !character.isSurrogate() && !character.isSpace()))
            return;
        startText();
        text_ += QString(character).toHtmlEscaped();
        lineIsEmpty_ = false;
        if (++length_ == longestNotes)
            text_ += u'\u2026';
    }

    void add(QStringView text) {
        for (const QChar character : text)
            add(character);
    }

    /// What comes next is on a line of its own, if there is anything on this one.
    void endLine() {
        lineBreaks_ = std::max(lineBreaks_, 1);
        startEmptyLine();
    }

    /// As `<br>` does it: two make an empty line, and more make no more.
    void breakLine() {
        lineBreaks_ = std::min(lineBreaks_ + 1, 2);
        startEmptyLine();
    }

    /// What comes next is in a block of its own. A paragraph that begins a list's item is that
    /// item.
    void startBlock(Block block) {
        if (blockIsOpen_ || block != Block::paragraph || block_ != Block::listItem) {
            endBlock();
            block_ = block;
        }
    }

    void endBlock() {
        if (linkIsOpen_)
            endLink();
        if (std::exchange(blockIsOpen_, false))
            text_ += QLatin1String("</p>");
        block_ = Block::paragraph;
        startEmptyLine();
    }

    void startLink(const QUrl& url) {
        endLink();
        link_ = QStringLiteral("<a href=\"%1\">")
                    .arg(QString::fromLatin1(url.toEncoded()).toHtmlEscaped());
    }

    void endLink() {
        if (std::exchange(linkIsOpen_, false))
            text_ += QLatin1String("</a>");
        link_.clear();
    }

    /// Nothing more is taken.
    bool isFull() const { return length_ >= longestNotes; }

    QString finish() {
        endBlock();
        return std::move(text_);
    }

private:
    void startEmptyLine() {
        blankIsDue_ = false;
        lineIsEmpty_ = true;
    }

    void startText() {
        const int lineBreaks = std::exchange(lineBreaks_, 0);
        if (!std::exchange(blockIsOpen_, true))
            text_ += startOf(block_);
        else
            text_ += QStringLiteral("<br>").repeated(lineBreaks);
        if (std::exchange(blankIsDue_, false))
            text_ += u' ';
        if (!link_.isEmpty() && !std::exchange(linkIsOpen_, true))
            text_ += link_;
    }

    QString text_;
    qsizetype length_ = 0;
    /// The open one, or the next one.
    Block block_ = Block::paragraph;
    bool blockIsOpen_ = false;
    int lineBreaks_ = 0;
    bool lineIsEmpty_ = true;
    bool blankIsDue_ = false;
    /// The tag of the link that the text belongs to. No link goes on in the next block: many short
    /// blocks in one with a long address would fill the memory.
    QString link_;
    bool linkIsOpen_ = false;
};

/// Reads HTML as far as notes need it, in one pass.
class HTML {
public:
    explicit HTML(const QString& html) : rest_(html) {}

    QString notes() {
        while (!rest_.isEmpty() && !notes_.isFull()) {
            if (rest_.startsWith(QLatin1String("<!--")))
                skipPast(QLatin1String("-->"));
            else if (startsTag())
                readTag();
            else if (rest_.front() == u'&')
                readEntity();
            else
                notes_.addFlowing(take(1).front());
        }
        return notes_.finish();
    }

private:
    QStringView take(qsizetype count) {
        const QStringView taken = rest_.first(count);
        rest_ = rest_.sliced(count);
        return taken;
    }

    void skipPast(QLatin1String end) {
        const qsizetype position = rest_.indexOf(end);
        rest_ = position < 0 ? QStringView() : rest_.sliced(position + end.size());
    }

    bool startsTag() const {
        return rest_.size() > 1 && rest_[0] == u'<' &&
               (rest_[1].isLetter() || rest_[1] == u'/' || rest_[1] == u'!' || rest_[1] == u'?');
    }

    void readTag() {
        take(1);
        const bool isEnd = rest_.front() == u'/';
        if (isEnd)
            take(1);
        qsizetype length = 0;
        while (length < rest_.size() && rest_[length].isLetterOrNumber())
            ++length;
        const QString name = take(length).toString().toLower();
        const QString address = readAttributes();
        if (!isEnd && (name == QLatin1String("script") || name == QLatin1String("style") ||
                       name == QLatin1String("title")))
            skipContent(name);
        else if (name == QLatin1String("a"))
            followLink(isEnd, address);
        else
            divide(name, isEnd);
    }

    /// To the end of the tag. Gives the value of "href".
    QString readAttributes() {
        QString address;
        while (!rest_.isEmpty() && rest_.front() != u'>') {
            qsizetype length = 0;
            while (length < rest_.size() &&
                   (rest_[length].isLetterOrNumber() || rest_[length] == u'-'))
                ++length;
            if (length == 0) {
                take(1);
                continue;
            }
            const QStringView name = take(length);
            rest_ = skipBlanks(rest_);
            if (rest_.isEmpty() || rest_.front() != u'=')
                continue;
            take(1);
            const QStringView value = readValue();
            if (name.compare(QLatin1String("href"), Qt::CaseInsensitive) == 0)
                address = value.toString().replace(QLatin1String("&amp;"), QLatin1String("&"));
        }
        if (!rest_.isEmpty())
            take(1);
        return address;
    }

    static QStringView skipBlanks(QStringView text) {
        while (!text.isEmpty() && text.front().isSpace())
            text = text.sliced(1);
        return text;
    }

    QStringView readValue() {
        rest_ = skipBlanks(rest_);
        if (rest_.isEmpty())
            return rest_;
        const QChar quote = rest_.front();
        if (quote == u'"' || quote == u'\'') {
            take(1);
            const qsizetype end = rest_.indexOf(quote);
            const QStringView value = take(end < 0 ? rest_.size() : end);
            if (!rest_.isEmpty())
                take(1);
            return value;
        }
        qsizetype length = 0;
        while (length < rest_.size() && rest_[length] != u'>' && !rest_[length].isSpace())
            ++length;
        return take(length);
    }

    void skipContent(const QString& name) {
        const qsizetype end = rest_.indexOf(QStringLiteral("</") + name, 0, Qt::CaseInsensitive);
        rest_ = end < 0 ? QStringView() : rest_.sliced(end);
    }

    void followLink(bool isEnd, const QString& address) {
        const QUrl url(address, QUrl::StrictMode);
        if (!isEnd && isWebAddress(url))
            notes_.startLink(url);
        else
            notes_.endLink();
    }

    void divide(const QString& name, bool isEnd) {
        if (name == QLatin1String("br"))
            notes_.breakLine();
        else if (name == QLatin1String("div") || name == QLatin1String("tr"))
            notes_.endLine();
        else if (const std::optional<Block> block = blockOf(name))
            isEnd ? notes_.endBlock() : notes_.startBlock(*block);
    }

    static std::optional<Block> blockOf(const QString& name) {
        static const QHash<QString, Block> blocks = {
            {QStringLiteral("p"), Block::paragraph},
            {QStringLiteral("ul"), Block::paragraph},
            {QStringLiteral("ol"), Block::paragraph},
            {QStringLiteral("blockquote"), Block::paragraph},
            {QStringLiteral("li"), Block::listItem},
            {QStringLiteral("h1"), Block::heading1},
            {QStringLiteral("h2"), Block::heading2},
            {QStringLiteral("h3"), Block::heading3},
            {QStringLiteral("h4"), Block::heading3},
            {QStringLiteral("h5"), Block::heading3},
            {QStringLiteral("h6"), Block::heading3}};
        const auto found = blocks.find(name);
        return found == blocks.end() ? std::nullopt : std::optional(*found);
    }

    void readEntity() {
        static constexpr std::array<std::pair<QStringView, char16_t>, 9> known = {
            {{u"amp", u'&'},
             {u"lt", u'<'},
             {u"gt", u'>'},
             {u"quot", u'"'},
             {u"apos", u'\''},
             {u"nbsp", u'\u00a0'},
             {u"hellip", u'\u2026'},
             {u"ndash", u'\u2013'},
             {u"mdash", u'\u2014'}}};
        constexpr qsizetype longestName = 10;
        const QStringView ahead = rest_.first(std::min(rest_.size(), longestName));
        const qsizetype end = ahead.indexOf(u';');
        const QStringView name = end > 0 ? ahead.sliced(1, end - 1) : QStringView();
        if (name.startsWith(u'#') && addNumbered(name.sliced(1))) {
            take(end + 1);
            return;
        }
        for (const auto& [word, character] : known) {
            if (name == word) {
                take(end + 1);
                notes_.add(QChar(character));
                return;
            }
        }
        notes_.add(take(1).front());
    }

    bool addNumbered(QStringView number) {
        const bool isHexadecimal = number.startsWith(u'x', Qt::CaseInsensitive);
        bool isNumber = false;
        const uint code =
            (isHexadecimal ? number.sliced(1) : number).toUInt(&isNumber, isHexadecimal ? 16 : 10);
        if (!isNumber || code == 0 || code > 0x10FFFF || QChar::isSurrogate(code))
            return false;
        const char32_t character = code;
        notes_.add(QStringView(QString::fromUcs4(&character, 1)));
        return true;
    }

    QStringView rest_;
    Notes notes_;
};

/// How much of the text is an address: up to a blank, without the punctuation of the sentence.
qsizetype lengthOfAddress(QStringView text) {
    if (!text.startsWith(QLatin1String("https://")) && !text.startsWith(QLatin1String("http://")))
        return 0;
    constexpr qsizetype longestAddress = 1000;
    qsizetype length = 0;
    while (length < std::min(text.size(), longestAddress) && !text[length].isSpace() &&
           !QStringView(u"<>\"'`").contains(text[length]))
        ++length;
    while (QStringView(u".,;:!?)]}").contains(text[length - 1]))
        --length;
    return isWebAddress(QUrl(text.first(length).toString(), QUrl::StrictMode)) ? length : 0;
}

} // namespace

QString fromHTML(const QString& html) {
    return HTML(html).notes();
}

QString fromPlainText(const QString& text) {
    Notes notes;
    QStringView rest = text;
    while (!rest.isEmpty() && !notes.isFull()) {
        const qsizetype length = rest.front() == u'h' ? lengthOfAddress(rest) : 0;
        if (length > 0) {
            notes.startLink(QUrl(rest.first(length).toString(), QUrl::StrictMode));
            notes.add(rest.first(length));
            notes.endLink();
        } else if (rest.front() == u'\n') {
            if (rest.startsWith(u"\n\n") || rest.startsWith(u"\n\r\n"))
                notes.endBlock();
            else
                notes.endLine();
        } else if (rest.front() != u'\r') {
            notes.add(rest.front());
        }
        rest = rest.sliced(std::max<qsizetype>(length, 1));
    }
    return notes.finish();
}

} // namespace Bleedwise::ReleaseNotes
