#include "engine/search_keys.h"

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/stsearch.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

namespace norvane {
namespace {

constexpr UChar32 kReplacement = 0xFFFD;

// Decodes one scalar at `offset`; malformed bytes count as one U+FFFD each.
UChar32 nextScalar(std::string_view text, std::size_t& offset) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<std::int32_t>(std::min<std::size_t>(text.size(), INT32_MAX));
    auto i = static_cast<std::int32_t>(offset);
    UChar32 c = 0;
    U8_NEXT(bytes, i, length, c);
    offset = static_cast<std::size_t>(i);
    return c < 0 ? kReplacement : c;
}

}  // namespace

Utf16WithOffsets toUtf16WithOffsets(std::string_view text) {
    Utf16WithOffsets result;
    result.byteOffsets.reserve(text.size() + 1);
    std::size_t offset = 0;
    while (offset < text.size()) {
        const std::size_t start = offset;
        const UChar32 c = nextScalar(text, offset);
        result.string.append(c);
        for (int unit = 0; unit < U16_LENGTH(c); ++unit) {
            result.byteOffsets.push_back(start);
        }
    }
    result.byteOffsets.push_back(text.size());
    return result;
}

namespace {

std::string toUtf8(const icu::UnicodeString& text) {
    std::string out;
    text.toUTF8String(out);
    return out;
}

bool isDiacritic(UChar32 c) {
    return u_charType(c) == U_NON_SPACING_MARK && u_hasBinaryProperty(c, UCHAR_DIACRITIC);
}

// Case folding for the current locale, then accents dropped from the canonical
// decomposition; recomposed so that keys of the same text always agree.
icu::UnicodeString foldCaseAndDiacritics(const icu::UnicodeString& text) {
    icu::UnicodeString folded(text);
    folded.toLower(icu::Locale::getDefault());
    folded.foldCase(U_FOLD_CASE_DEFAULT);

    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
    const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status)) {
        return folded;
    }
    const icu::UnicodeString decomposed = nfd->normalize(folded, status);
    if (U_FAILURE(status)) {
        return folded;
    }
    icu::UnicodeString stripped;
    for (std::int32_t i = 0; i < decomposed.length();) {
        const UChar32 c = decomposed.char32At(i);
        if (!isDiacritic(c)) {
            stripped.append(c);
        }
        i += U16_LENGTH(c);
    }
    icu::UnicodeString composed = nfc->normalize(stripped, status);
    return U_FAILURE(status) ? stripped : composed;
}

// Verification calls the search once per term and line; a collator per thread saves
// rebuilding one each time (collators must not be shared between threads).
icu::RuleBasedCollator* primaryRootCollator() {
    thread_local std::unique_ptr<icu::RuleBasedCollator> collator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Collator> made(icu::Collator::createInstance(icu::Locale::getRoot(), status));
        auto* ruleBased = dynamic_cast<icu::RuleBasedCollator*>(made.get());
        if (U_FAILURE(status) || !ruleBased) {
            return std::unique_ptr<icu::RuleBasedCollator>();
        }
        made.release();
        ruleBased->setStrength(icu::Collator::PRIMARY);
        return std::unique_ptr<icu::RuleBasedCollator>(ruleBased);
    }();
    return collator.get();
}

bool isAlphanumeric(UChar32 c) {
    const std::int32_t mask = U_GET_GC_MASK(c);
    return (mask & (U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK)) != 0;
}

}  // namespace

std::string normalizedSearchKey(std::string_view text) {
    const icu::UnicodeString folded = foldCaseAndDiacritics(icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(std::min<std::size_t>(text.size(), INT32_MAX)))));
    icu::UnicodeString kept;
    for (std::int32_t i = 0; i < folded.length();) {
        const UChar32 c = folded.char32At(i);
        if (isAlphanumeric(c)) {
            kept.append(c);
        }
        i += U16_LENGTH(c);
    }
    kept.toLower(icu::Locale::getRoot());
    return toUtf8(kept);
}

std::string recognitionKey(std::string_view text) {
    // Strokes a recogniser may read as punctuation, which the key would drop.
    std::string strokes(text);
    std::replace_if(
        strokes.begin(), strokes.end(), [](char c) { return c == ']' || c == '|' || c == '!'; }, 'l');
    std::string key = normalizedSearchKey(strokes);
    for (char& c : key) {
        switch (c) {
            case '1':
            case 'i':
                c = 'l';
                break;
            case '0':
                c = 'o';
                break;
            case '5':
                c = 's';
                break;
            default:
                break;
        }
    }
    return key;
}

PageRect safetyExpanded(const PageRect& rect) {
    if (!(rect.width > 0) || !(rect.height > 0)) {
        return rect;
    }
    const double dx = std::max(rect.height * 0.55, 6.0);
    const double dy = std::max(rect.height * 0.18, 3.0);
    return PageRect{rect.x - dx, rect.y - dy, rect.width + 2 * dx, rect.height + 2 * dy};
}

std::string caseFolded(std::string_view text) {
    icu::UnicodeString folded =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    folded.foldCase(U_FOLD_CASE_DEFAULT);
    std::string out;
    folded.toUTF8String(out);
    return out;
}

std::string trimmed(std::string_view text) {
    std::size_t begin = 0;
    while (begin < text.size()) {
        std::size_t next = begin;
        if (!u_isUWhiteSpace(nextScalar(text, next))) {
            break;
        }
        begin = next;
    }
    // Walk forward remembering where the last non-white scalar ends: simpler and safe for
    // malformed input, where stepping backwards is ambiguous.
    std::size_t end = begin;
    for (std::size_t offset = begin; offset < text.size();) {
        if (!u_isUWhiteSpace(nextScalar(text, offset))) {
            end = offset;
        }
    }
    return std::string(text.substr(begin, end - begin));
}

namespace {

// Up to `limit` occurrences; verification asks only whether there is one.
std::vector<ByteRange> literalMatches(std::string_view haystack, std::string_view needle, std::size_t limit) {
    std::vector<ByteRange> ranges;
    if (needle.empty() || haystack.empty()) {
        return ranges;
    }
    if (haystack.size() > INT32_MAX / 2 || needle.size() > INT32_MAX / 2) {
        throw MatcherUnavailable("text too long to search");
    }
    const Utf16WithOffsets text = toUtf16WithOffsets(haystack);
    const Utf16WithOffsets pattern = toUtf16WithOffsets(needle);

    icu::RuleBasedCollator* collator = primaryRootCollator();
    if (!collator) {
        throw MatcherUnavailable("no collator");
    }
    UErrorCode status = U_ZERO_ERROR;
    icu::StringSearch search(pattern.string, text.string, collator, nullptr, status);
    if (U_FAILURE(status)) {
        throw MatcherUnavailable("string search could not be built");
    }
    const auto& offsets = text.byteOffsets;
    for (std::int32_t start = search.first(status); start != USEARCH_DONE; start = search.next(status)) {
        if (U_FAILURE(status)) {
            throw MatcherUnavailable("string search failed");
        }
        const std::int32_t end = start + search.getMatchedLength();
        if (start < 0 || end <= start || static_cast<std::size_t>(end) >= offsets.size()) {
            throw MatcherUnavailable("string search gave a range outside the text");
        }
        ranges.emplace_back(offsets[static_cast<std::size_t>(start)], offsets[static_cast<std::size_t>(end)]);
        if (ranges.size() == limit) {
            break;
        }
    }
    if (U_FAILURE(status)) {
        throw MatcherUnavailable("string search failed");
    }
    return ranges;
}

}  // namespace

std::vector<ByteRange> findAllIgnoringCaseAndAccents(std::string_view haystack, std::string_view needle) {
    return literalMatches(haystack, needle, std::numeric_limits<std::size_t>::max());
}

std::optional<ByteRange> findIgnoringCaseAndAccents(std::string_view haystack, std::string_view needle) {
    const std::vector<ByteRange> ranges = literalMatches(haystack, needle, 1);
    if (ranges.empty()) {
        return std::nullopt;
    }
    return ranges.front();
}

std::size_t countOccurrences(std::string_view haystack, std::string_view needle) {
    if (needle.empty()) {
        return 0;
    }
    std::size_t count = 0;
    for (std::size_t at = haystack.find(needle); at != std::string_view::npos;
         at = haystack.find(needle, at + needle.size())) {
        ++count;
    }
    return count;
}

void appendUtf8(std::string& out, char32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
        c = 0xFFFD;
    }
    char buffer[4];
    std::int32_t length = 0;
    UBool failed = false;
    U8_APPEND(reinterpret_cast<std::uint8_t*>(buffer), length, 4, static_cast<UChar32>(c), failed);
    if (!failed) {
        out.append(buffer, static_cast<std::size_t>(length));
    }
}

}  // namespace norvane
