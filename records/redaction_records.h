#pragma once
// Value types shared by the engine, the document model and the views.
// Plain C++: no Qt, no MuPDF.

#include <array>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace norvane {

// Random (version 4) identity of a record.
class Uuid {
public:
    Uuid() = default;  // the nil UUID
    static Uuid random();
    static std::optional<Uuid> parse(std::string_view text);

    // Canonical upper-case form, e.g. "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
    std::string toString() const;
    bool isNil() const;

    friend bool operator==(const Uuid&, const Uuid&) = default;
    friend auto operator<=>(const Uuid&, const Uuid&) = default;

private:
    std::array<unsigned char, 16> bytes_{};
};

// A rectangle in page space: PDF points, the page's media-box coordinates, y up.
struct PageRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double minX() const { return width < 0 ? x + width : x; }
    double minY() const { return height < 0 ? y + height : y; }
    double maxX() const { return width < 0 ? x : x + width; }
    double maxY() const { return height < 0 ? y : y + height; }

    // Same area with non-negative width and height, origin at the minimum corner.
    PageRect standardized() const;
    bool isEmpty() const { return !(width > 0 && height > 0); }
    // Union of two rectangles (both taken standardised).
    PageRect united(const PageRect& other) const;

    friend bool operator==(const PageRect&, const PageRect&) = default;
};

enum class RedactionSource { manual, textSearch, ocr };

std::string_view rawValue(RedactionSource source);
// Exact, case-sensitive match against "Manual", "Text" and "OCR".
std::optional<RedactionSource> redactionSourceFromRawValue(std::string_view raw);

struct RedactionRegion {
    Uuid id;
    std::int64_t pageIndex = 0;
    PageRect rect;
    RedactionSource source = RedactionSource::manual;
    std::optional<std::string> matchedText;
};

struct RedactionSearchResult {
    Uuid id;
    std::int64_t pageIndex = 0;
    PageRect rect;
    std::string text;
    RedactionSource source = RedactionSource::textSearch;
};

// Why a page could not be read or drawn.
enum class PageFailure {
    outOfMemory,   // MuPDF or the bitmap ran out of memory
    unparsable,    // the page's objects or content could not be parsed
    tooLarge,      // the bitmap would exceed the pixel limit, or the page has no area
    unrenderable,  // drawing failed for another reason
};

std::string_view rawValue(PageFailure failure);
// What happened to the page, as a sentence.
std::string describe(PageFailure failure);

// A page a search could not read, and why.
struct UnreadPage {
    std::int64_t pageIndex = 0;
    PageFailure failure = PageFailure::unrenderable;

    friend bool operator==(const UnreadPage&, const UnreadPage&) = default;
};

// A search's hits, and the pages it could not read (in page order): "nothing found" is only
// true of the pages that were read.
struct SearchOutcome {
    std::vector<RedactionSearchResult> results;
    std::vector<UnreadPage> unreadPages;
};

// Why verification reports a term.
enum class FindingReason {
    read,               // it was read in the copy, at `pageIndex` and `rect`
    unreadableLetters,  // the recognisers loaded cannot read some of its letters: nobody can say it is gone
};

std::string_view rawValue(FindingReason reason);

// Where verification saw a term in the output: the page and the covering rectangle in that
// page's space, read from the text layer (textSearch) or the pixels (ocr). A finding about the
// whole document (a term that cannot be read at all) has neither page nor rectangle.
struct VerificationFinding {
    std::string term;
    std::optional<std::int64_t> pageIndex = 0;
    std::optional<PageRect> rect = PageRect{};
    RedactionSource source = RedactionSource::ocr;
    FindingReason reason = FindingReason::read;

    friend bool operator==(const VerificationFinding&, const VerificationFinding&) = default;
};

class ExportVerification {
public:
    ExportVerification() = default;
    ExportVerification(std::int64_t checkedPages, std::vector<std::string> suspiciousMatches)
        : checkedPages_(checkedPages), suspiciousMatches_(std::move(suspiciousMatches)) {}
    // The terms are those of the findings, distinct and in code-point order.
    static ExportVerification fromFindings(std::int64_t checkedPages, std::vector<VerificationFinding> findings);

    // Passing is defined by the findings, so the two can never disagree.
    bool passed() const { return suspiciousMatches_.empty(); }
    std::int64_t checkedPages() const { return checkedPages_; }
    const std::vector<std::string>& suspiciousMatches() const { return suspiciousMatches_; }
    const std::vector<VerificationFinding>& findings() const { return findings_; }

private:
    std::int64_t checkedPages_ = 0;
    std::vector<std::string> suspiciousMatches_;
    std::vector<VerificationFinding> findings_;
};

class RedactionError : public std::exception {
public:
    enum class Kind {
        cannotRenderPage,
        cannotOpenPDF,
        encryptedPDF,
        noPages,
        noRedactions,
        exportFailed,
        outputVerificationFailed,
    };

    static RedactionError cannotRenderPage(std::int64_t pageIndex, PageFailure why = PageFailure::unrenderable) {
        return RedactionError(Kind::cannotRenderPage, pageIndex, why);
    }
    static RedactionError cannotOpenPDF() { return RedactionError(Kind::cannotOpenPDF); }
    static RedactionError encryptedPDF() { return RedactionError(Kind::encryptedPDF); }
    static RedactionError noPages() { return RedactionError(Kind::noPages); }
    static RedactionError noRedactions() { return RedactionError(Kind::noRedactions); }
    static RedactionError exportFailed() { return RedactionError(Kind::exportFailed); }
    static RedactionError outputVerificationFailed() { return RedactionError(Kind::outputVerificationFailed); }

    Kind kind() const { return kind_; }
    // Zero-based page of cannotRenderPage; 0 for the other kinds.
    std::int64_t pageIndex() const { return pageIndex_; }
    // What went wrong with that page (cannotRenderPage only).
    std::optional<PageFailure> pageFailure() const { return pageFailure_; }
    const std::string& errorDescription() const { return message_; }
    const char* what() const noexcept override { return message_.c_str(); }

private:
    explicit RedactionError(Kind kind, std::int64_t pageIndex = 0, std::optional<PageFailure> why = std::nullopt);

    Kind kind_;
    std::int64_t pageIndex_;
    std::optional<PageFailure> pageFailure_;
    std::string message_;
};

// Raised when the surrounding task was cancelled; deliberately not a RedactionError.
class CancellationError : public std::exception {
public:
    const char* what() const noexcept override { return "cancelled"; }
};

}  // namespace norvane

namespace norvane {

// Region rules shared by the workspace model and the command line.
constexpr double kDuplicateTolerance = 3.0;

// Same page and every one of min x, min y, width and height within 3.0 units.
bool isDuplicateGeometry(const RedactionRegion& existing, std::int64_t pageIndex, const PageRect& rect);

// Whether `other` marks the place `kept` marks, read a second time: the two mostly overlap
// (their intersection is at least half their union), or `other` is no larger and its centre
// lies inside `kept`. A larger box that sticks out is not the same place: it may cover more.
bool isSamePlace(const PageRect& kept, const PageRect& other);

// Turns a hit into a region (fresh id, standardised rect, the hit's source and text) and
// appends it unless an existing region duplicates it. Returns whether it was appended.
bool appendSearchResult(std::vector<RedactionRegion>& regions, const RedactionSearchResult& result);

// appendSearchResult for each hit in order (so a hit may duplicate one appended before it),
// without comparing every hit with every region. Returns how many were appended.
std::size_t appendSearchResults(std::vector<RedactionRegion>& regions,
                                const std::vector<RedactionSearchResult>& results);

}  // namespace norvane
