#include "PrintPrep/PDFPatterns.h"

#include "PrintPrep/PDFBoxPatcher.h"
#include "support/Command.h"
#include "support/TemporaryFolder.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <unicode/regex.h>
#include <unicode/unistr.h>

namespace Bleedwise {
namespace {

// The expressions that the scanners stand for, run by ICU.

/// Bytes decoded as ISO 8859-1, one UTF-16 unit for each, so that positions are byte positions.
class DecodedText {
public:
    explicit DecodedText(std::string_view bytes) : bytes_(bytes) {
        units_.reserve(bytes.size());
        for (const char byte : bytes)
            units_ += static_cast<char16_t>(static_cast<unsigned char>(byte));
        text_.setTo(false, units_.c_str(), static_cast<int32_t>(units_.size()));
    }
    DecodedText(const DecodedText&) = delete;
    DecodedText& operator=(const DecodedText&) = delete;
    ~DecodedText() = default;

    std::string_view bytes() const { return bytes_; }
    const icu::UnicodeString& text() const { return text_; }

private:
    std::string_view bytes_;
    std::u16string units_;
    icu::UnicodeString text_;
};

/// Group 0 is the whole match.
using Match = std::vector<std::string_view>;

/// A regular expression, compiled once without options.
class Expression {
public:
    explicit Expression(const std::string& pattern) {
        UErrorCode status = U_ZERO_ERROR;
        matcher_ =
            std::make_unique<icu::RegexMatcher>(icu::UnicodeString(pattern.c_str()), 0, status);
        check(status);
    }

    /// All matches, in order.
    std::vector<Match> matches(const DecodedText& text) const {
        std::vector<Match> all;
        matcher_->reset(text.text());
        UErrorCode status = U_ZERO_ERROR;
        while (matcher_->find(status)) {
            Match match;
            for (int32_t group = 0; group <= matcher_->groupCount(); ++group) {
                const int32_t start = matcher_->start(group, status);
                const int32_t end = matcher_->end(group, status);
                match.push_back(text.bytes().substr(static_cast<std::size_t>(start),
                                                    static_cast<std::size_t>(end - start)));
            }
            all.push_back(std::move(match));
        }
        check(status);
        return all;
    }

    std::optional<Match> first(const DecodedText& text) const {
        const std::vector<Match> all = matches(text);
        return all.empty() ? std::nullopt : std::optional(all.front());
    }

    std::optional<Match> last(const DecodedText& text) const {
        const std::vector<Match> all = matches(text);
        return all.empty() ? std::nullopt : std::optional(all.back());
    }

    /// The text with every match taken out.
    std::string removedFrom(std::string_view bytes) const {
        const DecodedText text(bytes);
        std::string kept;
        const char* position = bytes.data();
        for (const Match& match : matches(text)) {
            kept.append(position, match[0].data());
            position = match[0].data() + match[0].size();
        }
        return kept.append(position, bytes.data() + bytes.size());
    }

private:
    static void check(UErrorCode status) {
        if (U_FAILURE(status))
            throw std::runtime_error(u_errorName(status));
    }

    std::unique_ptr<icu::RegexMatcher> matcher_;
};

const Expression& objectExpression() {
    static const Expression expression(R"((?s)(\d+)\s+0\s+obj\s*(.*?)\s*endobj)");
    return expression;
}

const Expression& startXrefExpression() {
    static const Expression expression(R"(startxref\s+(\d+))");
    return expression;
}

const Expression& trailerExpression() {
    static const Expression expression(R"((?s)trailer\s*<<(.*?)>>)");
    return expression;
}

const Expression& sizeExpression() {
    static const Expression expression(R"(/Size\s+(\d+))");
    return expression;
}

const Expression& rootExpression() {
    static const Expression expression(R"(/Root\s+(\d+)\s+(\d+)\s+R)");
    return expression;
}

const Expression& whiteSpaceExpression() {
    static const Expression expression(R"(\s+)");
    return expression;
}

constexpr std::array boxKeys = {"/MediaBox", "/CropBox", "/BleedBox", "/TrimBox", "/ArtBox"};

const Expression& boxExpression(std::size_t key) {
    static const std::array<Expression, boxKeys.size()> expressions = {
        Expression(std::string(boxKeys[0]) + R"(\s*\[[^\]]*\])"),
        Expression(std::string(boxKeys[1]) + R"(\s*\[[^\]]*\])"),
        Expression(std::string(boxKeys[2]) + R"(\s*\[[^\]]*\])"),
        Expression(std::string(boxKeys[3]) + R"(\s*\[[^\]]*\])"),
        Expression(std::string(boxKeys[4]) + R"(\s*\[[^\]]*\])")};
    return expressions.at(key);
}

// The steps of the patcher told through those expressions.

std::optional<std::int64_t> referenceInteger(std::string_view digits) {
    const std::string text(digits);
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno == ERANGE)
        return std::nullopt;
    return value;
}

bool referenceNamesTypePage(std::string_view body) {
    const std::string packed = whiteSpaceExpression().removedFrom(body);
    return packed.find("/Type/Page") != std::string::npos &&
           packed.find("/Type/Pages") == std::string::npos;
}

std::vector<PDFBoxPatcher::PageObjectUpdate> referenceUpdates(std::string_view bytes,
                                                              const std::string& boxes) {
    const DecodedText text(bytes);
    std::vector<PDFBoxPatcher::PageObjectUpdate> updates;
    for (const Match& match : objectExpression().matches(text)) {
        const auto object = referenceInteger(match[1]);
        std::string body(match[2]);
        if (!object || body.find("stream") != std::string::npos || !referenceNamesTypePage(body))
            continue;
        for (std::size_t key = 0; key < boxKeys.size(); ++key)
            body = boxExpression(key).removedFrom(body);
        const std::size_t dictionary = body.find("<<");
        if (dictionary == std::string::npos)
            continue;
        updates.push_back({*object, body.replace(dictionary, 2, "<< " + boxes)});
    }
    return updates;
}

std::optional<PDFBoxPatcher::TrailerInfo> referenceTrailerInfo(std::string_view bytes) {
    const DecodedText text(bytes);
    const auto startXref = startXrefExpression().last(text);
    const auto trailer = trailerExpression().last(text);
    if (!startXref || !trailer)
        return std::nullopt;
    const DecodedText body((*trailer)[1]);
    const auto size = sizeExpression().first(body);
    const auto root = rootExpression().first(body);
    if (!size || !root)
        return std::nullopt;
    const auto sizeValue = referenceInteger((*size)[1]);
    const auto object = referenceInteger((*root)[1]);
    const auto generation = referenceInteger((*root)[2]);
    const auto previous = referenceInteger((*startXref)[1]);
    if (!sizeValue || !object || !generation || !previous)
        return std::nullopt;
    return PDFBoxPatcher::TrailerInfo{*sizeValue, *object, *generation, *previous};
}

// Texts to compare on.

using Pieces = std::vector<std::string>;

/// Every kind of white space, what is nearly white space, and a byte of each other kind.
const Pieces commonPieces = {
    "\t", "\n", "\v", "\f", "\r", " ", "\x85", "\xa0", std::string(1, 0), " ", " ", " ", "\n", "0",
    "00", "1",  "7",  "12", "x",  "/", "s",    "R",    "\xc2\xa0"};

const Pieces objectPieces = {"obj",
                             "endobj",
                             "end",
                             "e",
                             "n",
                             "d",
                             "o",
                             "b",
                             "j",
                             "1 0 obj",
                             "12\n0\nobj",
                             "endobj",
                             "obj",
                             "0 obj",
                             "stream",
                             "\xa0\x30\x85",
                             "99999999999999999999"};

const Pieces trailerPieces = {"trailer",
                              "trailer",
                              "trail",
                              "er",
                              "<<",
                              "<<",
                              ">>",
                              ">",
                              "<",
                              ">>>",
                              "startxref",
                              "startxref 9 ",
                              "trailer\r<<",
                              "/Size",
                              "/Size 4",
                              "/Root",
                              "/Root 1 0 R",
                              "/Roo",
                              "/Siz",
                              "t",
                              "start",
                              "xref",
                              "startxref",
                              "trailer<<",
                              "<</Info<<>>",
                              "9223372036854775807",
                              "9223372036854775808"};

const Pieces pagePieces = {"/MediaBox", "/CropBox", "/BleedBox",
                           "/TrimBox",  "/ArtBox",  "[",
                           "]",         "[",        "]",
                           "/Type",     "/Page",    "/Type",
                           "/Page",     "/Pages",   "s",
                           "/T",        "ype",      "/Typ",
                           "e",         "/Media",   "Box",
                           "/Type/",    "Page",     "<<",
                           ">>",        "stream",   "/Type\xa0/Page"};

/// Pieces that make whole objects often enough for every road through the patcher to be taken.
const Pieces filePieces = {"1 0 obj",         "3 0 obj<<",    "<<",          ">>endobj",
                           "endobj",          "/Type/Page",   "/Type/Page",  "/Type /Pages",
                           "/MediaBox[0 0 ]", "/ArtBox\n[1]", "/TrimBox [",  "/CropBox 7 0 R",
                           "trailer<<",       "/Size 4",      "/Root 1 0 R", ">>",
                           "startxref\n12",   "endstream",    "\r\n"};

/// Draws texts of up to `most` pieces from the lists; a piece now and then is a random byte. When
/// a comparison fails, pieces are taken out for as long as it still fails.
rc::Gen<Pieces> textsOf(std::vector<Pieces> lists, std::size_t most) {
    return rc::Gen<Pieces>([lists = std::move(lists), most](rc::Random random, int) {
        Pieces pieces(1 + random.next() % most);
        for (std::string& piece : pieces) {
            const auto choice = random.next();
            const Pieces& list = lists[choice % lists.size()];
            if ((choice >> 16U) % 32 == 0)
                piece = std::string(1, static_cast<char>(choice >> 24U));
            else
                piece = list[(choice >> 24U) % list.size()];
        }
        return rc::shrinkable::shrinkRecur(std::move(pieces), [](const Pieces& shorter) {
            return rc::shrink::removeChunks(shorter);
        });
    });
}

std::string joined(const Pieces& pieces) {
    std::string text;
    for (const std::string& piece : pieces)
        text += piece;
    return text;
}

/// One change to the bytes of a file.
struct Mutation {
    enum class Kind { remove, duplicate, swap, flip, replace };

    Kind kind = Kind::remove;
    std::size_t position = 0;
    std::size_t length = 0;
    unsigned value = 0;

    void applyTo(std::string& bytes) const {
        if (position >= bytes.size())
            return;
        const std::size_t size = std::min(length, bytes.size() - position);
        switch (kind) {
        case Kind::remove:
            bytes.erase(position, size);
            break;
        case Kind::duplicate:
            bytes.insert(position, bytes.substr(position, size));
            break;
        case Kind::swap:
            std::swap(bytes[position], bytes[value % bytes.size()]);
            break;
        case Kind::flip:
            bytes[position] = static_cast<char>(static_cast<unsigned char>(bytes[position]) ^
                                                (1U << (value % 8)));
            break;
        case Kind::replace:
            bytes[position] = commonPieces[value % commonPieces.size()][0];
            break;
        }
    }
};

[[maybe_unused]] void showValue(const Mutation& mutation, std::ostream& stream) {
    stream << "mutation " << static_cast<int>(mutation.kind) << " at " << mutation.position
           << " of " << mutation.length << " bytes, value " << mutation.value;
}

using Mutations = std::vector<Mutation>;

/// The positions where the patcher has something to read.
std::vector<std::size_t> interestingPositions(std::string_view bytes) {
    std::vector<std::size_t> positions;
    for (const std::string_view keyword :
         {"obj", "/Type", "/MediaBox", "trailer", "startxref", "/Size", "/Root", "<<", ">>"}) {
        for (std::size_t found = 0; (found = bytes.find(keyword, found)) != std::string_view::npos;
             ++found) {
            for (std::size_t before = 0; before < 6 && before <= found; ++before)
                positions.push_back(found - before);
            for (std::size_t after = 1; after < keyword.size() + 6; ++after)
                positions.push_back(found + after);
        }
    }
    return positions;
}

rc::Gen<Mutations> mutationsOf(const std::string& bytes) {
    return rc::Gen<Mutations>([size = bytes.size(),
                               positions = interestingPositions(bytes)](rc::Random random, int) {
        Mutations mutations(1 + random.next() % 6);
        for (Mutation& mutation : mutations) {
            const auto choice = random.next();
            mutation.kind = static_cast<Mutation::Kind>(choice % 5);
            mutation.position = choice & 0x10000U ? (choice >> 20U) % size
                                                  : positions[(choice >> 20U) % positions.size()];
            mutation.length = random.next() % (choice & 0x20000U ? 200 : 4);
            mutation.value = static_cast<unsigned>(random.next() >> 32U);
        }
        return rc::shrinkable::shrinkRecur(std::move(mutations), [](const Mutations& fewer) {
            return rc::shrink::removeChunks(fewer);
        });
    });
}

/// A two-page PDF as Ghostscript writes it, without the XMP metadata that is of no interest here.
const std::string& realPDF() {
    static const std::string bytes = [] {
        const Testing::TemporaryFolder folder;
        const std::string pages = "1 0 0 setrgbcolor 20 20 100 100 rectfill showpage "
                                  "0 0 1 setrgbcolor 40 40 100 100 rectfill showpage";
        Testing::outputOf({"gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-sDEVICE=pdfwrite",
                           "-dOmitXMP=true", "-dDEVICEWIDTHPOINTS=200", "-dDEVICEHEIGHTPOINTS=300",
                           "-o", (folder / "real.pdf").native(), "-c", pages});
        return Testing::contents(folder / "real.pdf");
    }();
    return bytes;
}

// Running the comparisons.

std::string shown(std::string_view bytes) {
    std::ostringstream stream;
    rc::show(std::string(bytes), stream);
    return stream.str();
}

template <typename T>
std::optional<std::string> shownOptional(const std::optional<T>& value) {
    return value ? std::optional(shown(*value)) : std::nullopt;
}

/// Runs `property` for `cases` drawn values and fails the test with the smallest counterexample.
template <typename Property>
void checkCases(int cases, const Property& property) {
    rc::detail::TestParams parameters = rc::detail::configuration().testParams;
    parameters.maxSuccess = cases;
    const auto result = rc::detail::checkTestable(property, rc::detail::TestMetadata(), parameters);
    std::ostringstream message;
    rc::detail::printResultMessage(result, message);
    EXPECT_TRUE(result.template is<rc::detail::SuccessResult>()) << message.str();
}

/// Compares on `cases` texts. `compare` says whether the expression found anything in the text; a
/// share of the texts must be of that kind, or the comparison would mean little.
template <typename Compare>
void compareOnTexts(int cases, const rc::Gen<Pieces>& texts, const Compare& compare) {
    int found = 0;
    checkCases(cases, [&] { found += compare(joined(*texts)) ? 1 : 0; });
    EXPECT_GT(found, cases / 50) << "too few of the texts were of interest";
}

template <typename Compare>
void compareOnMutations(int cases, const Compare& compare) {
    const std::string& original = realPDF();
    const auto mutations = mutationsOf(original);
    int found = 0;
    checkCases(cases, [&] {
        std::string bytes = original;
        for (const Mutation& mutation : *mutations)
            mutation.applyTo(bytes);
        found += compare(bytes) ? 1 : 0;
    });
    EXPECT_GT(found, cases / 50) << "too few of the files were of interest";
}

bool compareObjects(std::string_view bytes) {
    using Found = std::pair<std::string, std::string>;
    const DecodedText text(bytes);
    std::vector<Found> expected;
    for (const Match& match : objectExpression().matches(text))
        expected.emplace_back(shown(match[1]), shown(match[2]));
    std::vector<Found> actual;
    PDFPatterns::forEachObject(bytes, [&](std::string_view number, std::string_view body) {
        actual.emplace_back(shown(number), shown(body));
    });
    RC_ASSERT(actual == expected);
    return !expected.empty();
}

bool compareStartXref(std::string_view bytes) {
    const DecodedText text(bytes);
    const auto match = startXrefExpression().last(text);
    const auto expected = match ? std::optional((*match)[1]) : std::nullopt;
    RC_ASSERT(shownOptional(PDFPatterns::lastStartXref(bytes)) == shownOptional(expected));
    return match.has_value();
}

bool compareTrailerBody(std::string_view bytes) {
    const DecodedText text(bytes);
    const auto match = trailerExpression().last(text);
    const auto expected = match ? std::optional((*match)[1]) : std::nullopt;
    RC_ASSERT(shownOptional(PDFPatterns::lastTrailerBody(bytes)) == shownOptional(expected));
    return match.has_value();
}

bool compareNumber(std::string_view bytes) {
    const DecodedText text(bytes);
    const auto match = sizeExpression().first(text);
    const auto expected = match ? std::optional((*match)[1]) : std::nullopt;
    RC_ASSERT(shownOptional(PDFPatterns::firstNumber(bytes, "/Size")) == shownOptional(expected));
    return match.has_value();
}

bool compareReference(std::string_view bytes) {
    using Reference = std::pair<std::string_view, std::string_view>;
    const DecodedText text(bytes);
    const auto match = rootExpression().first(text);
    const auto expected = match ? std::optional(Reference((*match)[1], (*match)[2])) : std::nullopt;
    RC_ASSERT(PDFPatterns::firstReference(bytes, "/Root") == expected);
    return match.has_value();
}

bool compareInlineArrays(std::string_view bytes) {
    bool found = false;
    for (std::size_t key = 0; key < boxKeys.size(); ++key) {
        const std::string expected = boxExpression(key).removedFrom(bytes);
        std::string actual(bytes);
        PDFPatterns::removeInlineArrays(actual, boxKeys.at(key));
        RC_ASSERT(shown(actual) == shown(expected));
        found = found || expected != bytes;
    }
    return found;
}

bool compareTypePage(std::string_view bytes) {
    const bool expected = referenceNamesTypePage(bytes);
    RC_ASSERT(PDFPatterns::namesTypePage(bytes) == expected);
    return expected;
}

const PrintSettings businessCard = {85, 55, 3};

bool comparePageObjectUpdates(std::string_view bytes) {
    const std::string boxes =
        "/MediaBox [0 0 257.952756 172.913386] /CropBox [0 0 257.952756 172.913386] "
        "/BleedBox [0 0 257.952756 172.913386] "
        "/TrimBox [8.503937 8.503937 249.448819 164.409449] ";
    const auto expected = referenceUpdates(bytes, boxes);
    const auto actual = PDFBoxPatcher::pageObjectUpdates(bytes, businessCard, true);
    RC_ASSERT(actual.size() == expected.size());
    for (std::size_t index = 0; index < expected.size(); ++index) {
        RC_ASSERT(actual[index].object == expected[index].object);
        RC_ASSERT(shown(actual[index].body) == shown(expected[index].body));
    }
    return !expected.empty();
}

bool compareTrailerInfo(std::string_view bytes) {
    const auto expected = referenceTrailerInfo(bytes);
    RC_ASSERT((PDFBoxPatcher::trailerInfo(bytes) == expected));
    return expected.has_value();
}

TEST(PDFPatterns, FindTheObjectsThatTheExpressionFinds) {
    compareOnTexts(20'000, textsOf({commonPieces, objectPieces, objectPieces}, 24), compareObjects);
}

TEST(PDFPatterns, FindTheStartXrefThatTheExpressionFinds) {
    compareOnTexts(10'000, textsOf({commonPieces, trailerPieces}, 24), compareStartXref);
}

TEST(PDFPatterns, FindTheTrailerBodyThatTheExpressionFinds) {
    compareOnTexts(20'000, textsOf({commonPieces, trailerPieces, trailerPieces}, 24),
                   compareTrailerBody);
}

TEST(PDFPatterns, FindTheNumberThatTheExpressionFinds) {
    compareOnTexts(10'000, textsOf({commonPieces, trailerPieces}, 24), compareNumber);
}

TEST(PDFPatterns, FindTheReferenceThatTheExpressionFinds) {
    compareOnTexts(
        15'000,
        textsOf({commonPieces, {"/Root", "/Root ", "/Root 1 ", " 0 R", "/Roo", "R", "5 "}}, 24),
        compareReference);
}

TEST(PDFPatterns, RemoveTheArraysThatTheExpressionFinds) {
    compareOnTexts(20'000,
                   textsOf({commonPieces,
                            pagePieces,
                            {"/MediaBox", "/MediaBox[", "/ArtBox", "/MediaBox\x85[0 0]", "[", "]"}},
                           24),
                   compareInlineArrays);
}

TEST(PDFPatterns, NameTypePageWhenTheExpressionsSaySo) {
    compareOnTexts(20'000, textsOf({commonPieces, pagePieces, pagePieces}, 24), compareTypePage);
}

TEST(PDFPatterns, GiveThePageUpdatesThatTheExpressionsGive) {
    compareOnTexts(10'000, textsOf({commonPieces, filePieces, filePieces, filePieces}, 40),
                   comparePageObjectUpdates);
}

TEST(PDFPatterns, GiveTheTrailerInformationThatTheExpressionsGive) {
    compareOnTexts(10'000,
                   textsOf({commonPieces,
                            trailerPieces,
                            {"trailer<<", "/Size 4", "/Root 1 0 R", ">>", "startxref\n12", " "}},
                           40),
                   compareTrailerInfo);
}

TEST(PDFPatterns, GiveThePageUpdatesOfADamagedRealFile) {
    compareOnMutations(3'000, comparePageObjectUpdates);
}

TEST(PDFPatterns, GiveTheTrailerInformationOfADamagedRealFile) {
    compareOnMutations(3'000, compareTrailerInfo);
}

TEST(PDFPatterns, FindTheObjectsOfADamagedRealFile) {
    compareOnMutations(3'000, compareObjects);
}

// Each byte value on its own, so that no kind of white space depends on what was drawn.

std::string withByte(std::string_view before, int byte, std::string_view after) {
    return std::string(before) + static_cast<char>(byte) + std::string(after);
}

void compareOnEveryByte(const std::function<bool(std::string_view)>& compare,
                        std::string_view before, std::string_view after) {
    checkCases(1, [&] {
        for (int byte = 0; byte < 256; ++byte)
            compare(withByte(before, byte, after));
    });
}

TEST(PDFPatterns, TakeTheSameBytesForWhiteSpaceAroundObjectNumbers) {
    compareOnEveryByte(compareObjects, "12", "0 obj<<>>endobj");
    compareOnEveryByte(compareObjects, "12 0", "obj<<>>endobj");
}

TEST(PDFPatterns, TakeTheSameBytesForWhiteSpaceAroundBodies) {
    compareOnEveryByte(compareObjects, "12 0 obj", "<<>>endobj");
    compareOnEveryByte(compareObjects, "12 0 obj<<>>", "endobj");
}

TEST(PDFPatterns, TakeTheSameBytesForWhiteSpaceInTrailers) {
    compareOnEveryByte(compareTrailerBody, "trailer", "<<x>>");
    compareOnEveryByte(compareStartXref, "startxref", "12");
    compareOnEveryByte(compareNumber, "/Size", "12");
    compareOnEveryByte(compareReference, "/Root 1", "0 R");
    compareOnEveryByte(compareReference, "/Root 1 0", "R");
}

TEST(PDFPatterns, TakeTheSameBytesForWhiteSpaceInPageDictionaries) {
    compareOnEveryByte(compareInlineArrays, "/MediaBox", "[0 0 1 1]");
    compareOnEveryByte(compareTypePage, "/Type", "/Page");
    compareOnEveryByte(compareTypePage, "/Type/Page", "s");
}

TEST(PDFPatterns, TakeTheSameBytesForDigits) {
    compareOnEveryByte(compareObjects, "1", "2 0 obj<<>>endobj");
    compareOnEveryByte(compareStartXref, "startxref 1", "2");
}

struct IntegerCase {
    const char* digits;
    std::optional<std::int64_t> value;
};

TEST(PDFPatterns, ReadIntegersThatFit) {
    const IntegerCase cases[] = {
        {"0", 0},
        {"007", 7},
        {"9223372036854775807", 9223372036854775807},
        {"9223372036854775808", std::nullopt},
        {"99999999999999999999999999", std::nullopt},
        {"", std::nullopt},
        {"1 ", std::nullopt},
        {"x", std::nullopt},
    };
    for (const auto& [digits, value] : cases)
        EXPECT_EQ(PDFPatterns::integer(digits), value) << digits;
}

// Texts on which a scanner that reads bytes again and again would not come to its end within the
// time that a test may take: each of them makes some 10^12 steps of quadratic work.

std::string repeated(std::string_view piece, std::size_t count) {
    std::string text;
    text.reserve(piece.size() * count);
    for (std::size_t index = 0; index < count; ++index)
        text += piece;
    return text;
}

struct HostileText {
    const char* name;
    std::string (*text)();
    /// What is to be found in it.
    std::size_t objects = 0;
    std::optional<std::size_t> trailerSize = std::nullopt;
    std::optional<std::size_t> numberSize = std::nullopt;
    std::size_t arrayBytes = 0;
    bool page = false;
};

constexpr std::size_t million = 1'000'000;
constexpr std::size_t mebibyte = 1U << 20U;

const HostileText hostileTexts[] = {
    {.name = "ObjectsThatNeverEnd", .text = [] { return repeated("1 0 obj ", million); }},
    {.name = "ObjectsThatNeverEndInOneThatDoes",
     .text = [] { return repeated("1 0 obj ", million) + "endobj"; },
     .objects = 1},
    {.name = "Digits", .text = [] { return std::string(64 * mebibyte, '7'); }},
    {.name = "DigitsBehindKeys",
     .text =
         [] {
             return "/Size " + std::string(32 * mebibyte, '7') + "/Root " + repeated("7 ", million);
         },
     .numberSize = 32 * mebibyte},
    {.name = "WhiteSpace", .text = [] { return std::string(64 * mebibyte, '\xa0'); }},
    {.name = "WhiteSpaceBetweenNumberAndZero",
     .text = [] { return "1" + std::string(32 * mebibyte, ' ') + "0 obj endobj"; },
     .objects = 1},
    {.name = "WhiteSpaceBehindAnObjectWithoutEnd",
     .text = [] { return "1 0 obj" + std::string(32 * mebibyte, '\n') + "1 0 obj"; }},
    {.name = "WhiteSpaceInEveryPlaceOfAnObject",
     .text =
         [] {
             const std::string space(16 * mebibyte, '\r');
             return "1" + space + "0" + space + "obj" + space + "<<>>" + space + "endobj";
         },
     .objects = 1},
    {.name = "WhiteSpaceBehindEveryZero",
     .text = [] { return repeated("0" + std::string(100, ' '), million / 2) + "obj endobj"; },
     .objects = 1},
    {.name = "NumbersWithoutKeyword", .text = [] { return repeated("0 ", 16 * million); }},
    {.name = "ZerosBeforeKeywords", .text = [] { return repeated("0 obj", 4 * million); }},
    {.name = "OneLetterOfTheKeyword", .text = [] { return std::string(64 * mebibyte, 'j'); }},
    {.name = "Keywords", .text = [] { return repeated("obj", 10 * million); }},
    {.name = "EndsWithoutBeginnings", .text = [] { return repeated("endobj", 4 * million); }},
    {.name = "SmallObjects",
     .text = [] { return repeated("1 0 obj endobj ", 2 * million); },
     .objects = 2 * million},
    {.name = "MediaBoxesThatNeverClose", .text = [] { return repeated("/MediaBox[", million); }},
    {.name = "MediaBoxesWithoutArray", .text = [] { return repeated("/MediaBox ", million); }},
    {.name = "MediaBoxesAndWhiteSpace",
     .text = [] { return repeated("/MediaBox" + std::string(60, '\n'), million / 2); }},
    {.name = "MediaBoxesThatClose",
     .text = [] { return repeated("/MediaBox[0]x", 2 * million); },
     .arrayBytes = 2 * million * 12},
    {.name = "TrailersThatNeverClose", .text = [] { return repeated("trailer<<", million); }},
    {.name = "TrailersInOneThatCloses",
     .text = [] { return repeated("trailer<<", million) + ">>"; },
     .trailerSize = (million - 1) * 9},
    {.name = "TrailersBehindTheLastClose",
     .text = [] { return ">>" + repeated("trailer<<", million); }},
    {.name = "TrailersAndWhiteSpace",
     .text = [] { return repeated("trailer" + std::string(60, ' '), million / 2) + ">>"; }},
    {.name = "TrailersThatClose",
     .text = [] { return repeated("trailer<<>>", 2 * million); },
     .trailerSize = 0},
    {.name = "Closes", .text = [] { return std::string(32 * mebibyte, '>'); }},
    {.name = "Opens", .text = [] { return "trailer" + std::string(32 * mebibyte, '<'); }},
    {.name = "StartXrefs", .text = [] { return repeated("startxref", million); }},
    {.name = "StartXrefsAndWhiteSpace",
     .text = [] { return repeated("startxref" + std::string(60, ' '), million / 2); }},
    {.name = "Types", .text = [] { return repeated("/Type", 4 * million); }},
    {.name = "SpreadTypes",
     .text = [] { return repeated("/ T y p e / P a g e ", million); },
     .page = true},
    {.name = "SizesWithoutNumber", .text = [] { return repeated("/Size ", 2 * million); }},
    {.name = "RootsWithoutReference", .text = [] { return repeated("/Root 1 0 ", 2 * million); }},
};

class HostileTexts : public testing::TestWithParam<HostileText> {};

[[maybe_unused]] void PrintTo(const HostileText& hostile, std::ostream* stream) {
    *stream << hostile.name;
}

std::string hostileName(const testing::TestParamInfo<HostileText>& info) {
    return info.param.name;
}

std::optional<std::size_t> sizeOf(const std::optional<std::string_view>& text) {
    return text ? std::optional(text->size()) : std::nullopt;
}

TEST_P(HostileTexts, AreScannedInLinearTime) {
    const HostileText& hostile = GetParam();
    const std::string text = hostile.text();
    std::size_t objects = 0;
    PDFPatterns::forEachObject(text, [&](std::string_view, std::string_view) { ++objects; });
    EXPECT_EQ(objects, hostile.objects);
    EXPECT_EQ(PDFPatterns::lastStartXref(text), std::nullopt);
    EXPECT_EQ(sizeOf(PDFPatterns::lastTrailerBody(text)), hostile.trailerSize);
    EXPECT_EQ(sizeOf(PDFPatterns::firstNumber(text, "/Size")), hostile.numberSize);
    EXPECT_EQ(PDFPatterns::firstReference(text, "/Root"), std::nullopt);
    EXPECT_EQ(PDFPatterns::namesTypePage(text), hostile.page);
    std::string changed = text;
    PDFPatterns::removeInlineArrays(changed, "/MediaBox");
    EXPECT_EQ(changed.size(), text.size() - hostile.arrayBytes);
}

INSTANTIATE_TEST_SUITE_P(Each, HostileTexts, testing::ValuesIn(hostileTexts), hostileName);

TEST(PDFPatterns, RemoveAMillionArraysFromOneText) {
    std::string text = repeated("/MediaBox[0 0 1 1]x", million);
    PDFPatterns::removeInlineArrays(text, "/MediaBox");
    EXPECT_TRUE(text == std::string(million, 'x'));
}

TEST(PDFPatterns, SeeAMillionObjectsInOneText) {
    const std::string text = repeated("1 0 obj x endobj ", million);
    std::size_t objects = 0;
    PDFPatterns::forEachObject(text, [&](std::string_view number, std::string_view body) {
        if (number == "1" && body == "x")
            ++objects;
    });
    EXPECT_EQ(objects, million);
}

} // namespace
} // namespace Bleedwise
