#include "records/redaction_records.h"

#include <sys/random.h>
#include <uuid/uuid.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <unordered_map>

namespace norvane {

Uuid Uuid::random() {
    Uuid u;
    // One system call where libuuid makes six: "Redact All" makes thousands of these.
    if (getentropy(u.bytes_.data(), u.bytes_.size()) != 0) {
        uuid_generate_random(u.bytes_.data());
        return u;
    }
    u.bytes_[6] = static_cast<unsigned char>((u.bytes_[6] & 0x0F) | 0x40);  // version 4
    u.bytes_[8] = static_cast<unsigned char>((u.bytes_[8] & 0x3F) | 0x80);  // RFC 4122 variant
    return u;
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != 36) {
        return std::nullopt;
    }
    char buffer[37];
    std::copy(text.begin(), text.end(), buffer);
    buffer[36] = '\0';
    Uuid u;
    if (uuid_parse(buffer, u.bytes_.data()) != 0) {
        return std::nullopt;
    }
    return u;
}

std::string Uuid::toString() const {
    char buffer[37];
    uuid_unparse_upper(bytes_.data(), buffer);
    return std::string(buffer, 36);
}

bool Uuid::isNil() const {
    return std::all_of(bytes_.begin(), bytes_.end(), [](unsigned char b) { return b == 0; });
}

PageRect PageRect::standardized() const {
    return PageRect{minX(), minY(), width < 0 ? -width : width, height < 0 ? -height : height};
}

PageRect PageRect::united(const PageRect& other) const {
    const double x0 = std::min(minX(), other.minX());
    const double y0 = std::min(minY(), other.minY());
    const double x1 = std::max(maxX(), other.maxX());
    const double y1 = std::max(maxY(), other.maxY());
    return PageRect{x0, y0, x1 - x0, y1 - y0};
}

ExportVerification ExportVerification::fromFindings(std::int64_t checkedPages,
                                                    std::vector<VerificationFinding> findings) {
    std::vector<std::string> terms;
    for (const auto& finding : findings) {
        terms.push_back(finding.term);
    }
    std::sort(terms.begin(), terms.end());  // byte order of UTF-8 is code-point order
    terms.erase(std::unique(terms.begin(), terms.end()), terms.end());
    ExportVerification verification(checkedPages, std::move(terms));
    verification.findings_ = std::move(findings);
    return verification;
}

std::string_view rawValue(RedactionSource source) {
    switch (source) {
        case RedactionSource::manual:
            return "Manual";
        case RedactionSource::textSearch:
            return "Text";
        case RedactionSource::ocr:
            return "OCR";
    }
    return "Manual";
}

std::optional<RedactionSource> redactionSourceFromRawValue(std::string_view raw) {
    for (auto source : {RedactionSource::manual, RedactionSource::textSearch, RedactionSource::ocr}) {
        if (rawValue(source) == raw) {
            return source;
        }
    }
    return std::nullopt;
}

namespace {

std::string describe(RedactionError::Kind kind, std::int64_t pageIndex) {
    using Kind = RedactionError::Kind;
    switch (kind) {
        case Kind::cannotRenderPage:
            return "Page " + std::to_string(pageIndex + 1) + " could not be securely rendered.";
        case Kind::cannotOpenPDF:
            return "The selected PDF could not be opened.";
        case Kind::encryptedPDF:
            return "This PDF is encrypted or password-protected. Unlock it before redacting.";
        case Kind::noPages:
            return "The PDF contains no readable pages.";
        case Kind::noRedactions:
            return "Add at least one redaction before exporting.";
        case Kind::exportFailed:
            return "The secure redacted PDF could not be created.";
        case Kind::outputVerificationFailed:
            return "The exported PDF was created but verification could not complete.";
    }
    return "The secure redacted PDF could not be created.";
}

}  // namespace

RedactionError::RedactionError(Kind kind, std::int64_t pageIndex, std::optional<PageFailure> why)
    : kind_(kind),
      pageIndex_(kind == Kind::cannotRenderPage ? pageIndex : 0),
      pageFailure_(kind == Kind::cannotRenderPage ? why : std::nullopt),
      message_(describe(kind, pageIndex_)) {}

std::string_view rawValue(PageFailure failure) {
    switch (failure) {
        case PageFailure::outOfMemory:
            return "outOfMemory";
        case PageFailure::unparsable:
            return "unparsable";
        case PageFailure::tooLarge:
            return "tooLarge";
        case PageFailure::unrenderable:
            return "unrenderable";
    }
    return "unrenderable";
}

std::string describe(PageFailure failure) {
    switch (failure) {
        case PageFailure::outOfMemory:
            return "It needs more memory than is available.";
        case PageFailure::unparsable:
            return "Its content could not be parsed.";
        case PageFailure::tooLarge:
            return "It is too large to draw.";
        case PageFailure::unrenderable:
            return "It could not be drawn.";
    }
    return "It could not be drawn.";
}

std::string_view rawValue(FindingReason reason) {
    switch (reason) {
        case FindingReason::read:
            return "read";
        case FindingReason::unreadableLetters:
            return "unreadableLetters";
    }
    return "read";
}

}  // namespace norvane

namespace norvane {

bool isDuplicateGeometry(const RedactionRegion& existing, std::int64_t pageIndex, const PageRect& rect) {
    if (existing.pageIndex != pageIndex) {
        return false;
    }
    const PageRect a = existing.rect.standardized();
    const PageRect b = rect.standardized();
    auto near = [](double p, double q) { return std::abs(p - q) <= kDuplicateTolerance; };
    return near(a.x, b.x) && near(a.y, b.y) && near(a.width, b.width) && near(a.height, b.height);
}

bool isSamePlace(const PageRect& kept, const PageRect& other) {
    const PageRect a = kept.standardized();
    const PageRect b = other.standardized();
    const double across = std::min(a.maxX(), b.maxX()) - std::max(a.x, b.x);
    const double down = std::min(a.maxY(), b.maxY()) - std::max(a.y, b.y);
    const double shared = across > 0 && down > 0 ? across * down : 0.0;
    const double areaA = a.width * a.height;
    const double areaB = b.width * b.height;
    if (shared > 0 && shared * 2 >= areaA + areaB - shared) {
        return true;
    }
    const double cx = b.x + b.width / 2;
    const double cy = b.y + b.height / 2;
    return areaB <= areaA && cx >= a.x && cx <= a.maxX() && cy >= a.y && cy <= a.maxY();
}

bool appendSearchResult(std::vector<RedactionRegion>& regions, const RedactionSearchResult& result) {
    RedactionRegion candidate{Uuid::random(), result.pageIndex, result.rect.standardized(), result.source, result.text};
    for (const auto& existing : regions) {
        if (isDuplicateGeometry(existing, candidate.pageIndex, candidate.rect)) {
            return false;
        }
    }
    regions.push_back(std::move(candidate));
    return true;
}

namespace {

// Regions by page and by the grid cell their standardised corner lies in. A cell is wider than
// the tolerance, so a duplicate's corner is in the same or a neighbouring cell; the rule itself
// still decides. A power of two keeps v / kCell exact, so nearby values never round apart.
class DuplicateGrid {
public:
    explicit DuplicateGrid(const std::vector<RedactionRegion>& regions) : regions_(regions) {
        for (std::size_t i = 0; i < regions.size(); ++i) {
            add(i);
        }
    }

    bool hasDuplicate(std::int64_t pageIndex, const PageRect& rect) const {
        const auto cell = cellOf(pageIndex, rect);
        if (!cell) {
            return false;
        }
        for (std::int64_t dx = -1; dx <= 1; ++dx) {
            for (std::int64_t dy = -1; dy <= 1; ++dy) {
                const auto found = cells_.find(Cell{pageIndex, cell->x + dx, cell->y + dy});
                if (found == cells_.end()) {
                    continue;
                }
                for (const std::size_t index : found->second) {
                    if (isDuplicateGeometry(regions_[index], pageIndex, rect)) {
                        return true;
                    }
                }
            }
        }
        return false;
    }

    void add(std::size_t index) {
        const RedactionRegion& region = regions_[index];
        if (const auto cell = cellOf(region.pageIndex, region.rect)) {
            cells_[*cell].push_back(index);
        }
    }

private:
    static constexpr double kCell = 4.0;
    static_assert(kCell > kDuplicateTolerance);
    // Far beyond any page; cells this far out are merged, which only costs comparisons.
    static constexpr double kFar = 4611686018427387904.0;  // 2^62

    struct Cell {
        std::int64_t page;
        std::int64_t x;
        std::int64_t y;
        friend bool operator==(const Cell&, const Cell&) = default;
    };
    struct CellHash {
        std::size_t operator()(const Cell& c) const {
            const auto mix = [](std::uint64_t h, std::int64_t v) {
                return (h ^ static_cast<std::uint64_t>(v)) * 0x100000001B3ULL + 0x9E3779B97F4A7C15ULL;
            };
            return static_cast<std::size_t>(mix(mix(mix(0, c.page), c.x), c.y));
        }
    };

    // None for a rectangle with a value that is not finite: no difference with it is ever
    // within the tolerance, so it duplicates nothing and nothing duplicates it.
    static std::optional<Cell> cellOf(std::int64_t pageIndex, const PageRect& rect) {
        const PageRect r = rect.standardized();
        if (!std::isfinite(r.x) || !std::isfinite(r.y) || !std::isfinite(r.width) || !std::isfinite(r.height)) {
            return std::nullopt;
        }
        const auto column = [](double v) {
            return static_cast<std::int64_t>(std::clamp(std::floor(v / kCell), -kFar, kFar));
        };
        return Cell{pageIndex, column(r.x), column(r.y)};
    }

    const std::vector<RedactionRegion>& regions_;
    std::unordered_map<Cell, std::vector<std::size_t>, CellHash> cells_;
};

}  // namespace

std::size_t appendSearchResults(std::vector<RedactionRegion>& regions,
                                const std::vector<RedactionSearchResult>& results) {
    DuplicateGrid grid(regions);
    regions.reserve(regions.size() + results.size());
    std::size_t appended = 0;
    for (const RedactionSearchResult& result : results) {
        const PageRect rect = result.rect.standardized();
        if (grid.hasDuplicate(result.pageIndex, rect)) {
            continue;
        }
        regions.push_back(RedactionRegion{Uuid::random(), result.pageIndex, rect, result.source, result.text});
        grid.add(regions.size() - 1);
        ++appended;
    }
    return appended;
}

}  // namespace norvane
