#include "BleedwiseApp/updater/VersionComparison.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include <QStringView>

namespace Bleedwise::VersionComparison {
namespace {

bool isDigit(QChar character) {
    return character >= u'0' && character <= u'9';
}

bool isSeparator(QChar character) {
    return character == u'.' || character == u'-' || character == u'_' || character.isSpace();
}

struct Part {
    enum class Kind { Word, Number };
    Kind kind;
    QStringView text;
};

/// Ends every version, so that a word that follows in another one comes before the end.
const Part zero = {Part::Kind::Number, u"0"};

std::vector<Part> parts(QStringView version) {
    std::vector<Part> result;
    for (qsizetype start = 0; start < version.size();) {
        if (isSeparator(version[start])) {
            ++start;
            continue;
        }
        const bool isNumber = isDigit(version[start]);
        qsizetype end = start + 1;
        while (end < version.size() && !isSeparator(version[end]) &&
               isDigit(version[end]) == isNumber)
            ++end;
        result.push_back(
            {isNumber ? Part::Kind::Number : Part::Kind::Word, version.sliced(start, end - start)});
        start = end;
    }
    return result;
}

std::weak_ordering compareNumbers(QStringView left, QStringView right) {
    const auto withoutZeros = [](QStringView digits) {
        while (digits.size() > 1 && digits.front() == u'0')
            digits = digits.sliced(1);
        return digits;
    };
    left = withoutZeros(left);
    right = withoutZeros(right);
    if (left.size() != right.size())
        return left.size() <=> right.size();
    return left.compare(right) <=> 0;
}

std::weak_ordering compareParts(const Part& left, const Part& right) {
    if (left.kind != right.kind)
        return left.kind <=> right.kind;
    return left.kind == Part::Kind::Number ? compareNumbers(left.text, right.text)
                                           : left.text.compare(right.text) <=> 0;
}

} // namespace

std::weak_ordering compare(const QString& left, const QString& right) {
    const std::vector<Part> leftParts = parts(left);
    const std::vector<Part> rightParts = parts(right);
    const std::size_t count = std::max(leftParts.size(), rightParts.size());
    for (std::size_t i = 0; i < count; ++i) {
        const std::weak_ordering order = compareParts(i < leftParts.size() ? leftParts[i] : zero,
                                                      i < rightParts.size() ? rightParts[i] : zero);
        if (std::is_neq(order))
            return order;
    }
    return std::weak_ordering::equivalent;
}

} // namespace Bleedwise::VersionComparison
