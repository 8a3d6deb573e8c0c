#include "engine/mupdf_session.h"
#include "engine/page_loop.h"
#include "engine/page_reading.h"
#include "engine/page_text.h"
#include "engine/redaction_engine.h"
#include "engine/search_keys.h"

#include <algorithm>
#include <optional>

namespace norvane {
namespace {

constexpr double kVerificationDpi = 150;

// Runs the matcher, whose failure must fail the verification rather than pass the page.
std::vector<ByteRange> occurrences(const std::string& text, const std::string& term) {
    try {
        return findAllIgnoringCaseAndAccents(text, term);
    } catch (const MatcherUnavailable&) {
        throw RedactionError::outputVerificationFailed();
    }
}

// The page's text layer as plain text, one line per line, each character's bytes and box
// kept so a finding can say where it is. A page whose text cannot be read throws: nobody
// can say it is clean.
struct TextLayer {
    struct Char {
        std::size_t begin, end, line;
        PageRect box;
    };
    std::string text;
    std::vector<Char> chars;
};

TextLayer textLayer(const mu::Session& session, std::int64_t pageIndex) {
    TextLayer layer;
    std::size_t lines = 0;
    try {
        forEachTextLine(session, static_cast<int>(pageIndex), [&](const std::vector<TextLayerChar>& line) {
            for (const TextLayerChar& ch : line) {
                const std::size_t begin = layer.text.size();
                appendUtf8(layer.text, ch.c);
                layer.chars.push_back({begin, layer.text.size(), lines, ch.box});
            }
            layer.text += '\n';
            ++lines;
        });
    } catch (const mu::MuPdfError&) {
        throw RedactionError::outputVerificationFailed();
    }
    return layer;
}

// One finding per line a text-layer match touches; the whole page when its characters have
// no usable boxes, so a finding always says where to look.
void textLayerFindings(const TextLayer& layer, const std::string& term, std::int64_t pageIndex, const PageRect& page,
                       std::vector<VerificationFinding>& findings) {
    for (const auto& [begin, end] : occurrences(layer.text, term)) {
        std::vector<PageRect> parts;
        std::optional<std::size_t> line;
        for (const TextLayer::Char& ch : layer.chars) {
            if (ch.end <= begin || ch.begin >= end) {
                continue;
            }
            if (line != ch.line) {
                parts.push_back(ch.box.standardized());
                line = ch.line;
            } else {
                parts.back() = parts.back().united(ch.box);
            }
        }
        bool placed = false;
        for (const PageRect& part : parts) {
            if (!part.isEmpty()) {
                findings.push_back({term, pageIndex, safetyExpanded(part), RedactionSource::textSearch});
                placed = true;
            }
        }
        if (!placed) {
            findings.push_back({term, pageIndex, page, RedactionSource::textSearch});
        }
    }
}

// Findings from every reading: the characters where a line read upright places them, else the
// whole line; a line read turned only where no upright reading already placed the term.
void recognisedFindings(const std::vector<PageReading>& readings, const std::string& term, std::int64_t pageIndex,
                        const PageRect& page, std::vector<VerificationFinding>& findings) {
    std::vector<PageRect> upright;
    std::vector<PageRect> turned;
    for (const PageReading& reading : readings) {
        for (const OcrLine& line : reading.lines) {
            for (const auto& [begin, end] : occurrences(line.text, term)) {
                const auto box = line.upright ? line.boxForRange(begin, end) : std::nullopt;
                auto rect = box ? coveringRect(reading.geometry, *box) : std::nullopt;
                if (!rect) {
                    rect = coveringRect(reading.geometry, line.box);
                }
                (line.upright ? upright : turned).push_back(rect.value_or(page));
            }
        }
    }
    for (const PageRect& rect : turned) {
        if (std::none_of(upright.begin(), upright.end(),
                         [&](const PageRect& placed) { return containsCentreOf(rect, placed); })) {
            upright.push_back(rect);
        }
    }
    for (const PageRect& rect : upright) {
        findings.push_back({term, pageIndex, rect, RedactionSource::ocr});
    }
}

}  // namespace

ExportVerification RedactionEngine::verifyOutput(const std::filesystem::path& outputPath,
                                                 const std::vector<std::string>& sensitiveTerms,
                                                 const PageProgress& progress, std::stop_token stop) {
    SharedPdfDocument document;
    std::optional<mu::Session> session;
    try {
        document = PdfDocument::open(outputPath);
        session.emplace(document);
        bool locked = false;
        mu::muCall(session->ctx(), [&] { locked = fz_needs_password(session->ctx(), session->doc()) != 0; });
        if (locked) {
            // Pages we cannot read would pass unchecked.
            throw RedactionError::outputVerificationFailed();
        }
    } catch (const std::exception&) {
        throw RedactionError::outputVerificationFailed();
    }

    std::vector<std::string> terms;
    for (const auto& term : sensitiveTerms) {
        if (std::string t = trimmed(term); !t.empty()) {
            terms.push_back(std::move(t));
        }
    }

    std::vector<VerificationFinding> findings;
    std::optional<OcrService> ocr;
    forEachPage(document->pageCount(), progress, stop, [&](std::int64_t pageIndex) {
        const PageRect page = document->page(pageIndex).mediaBox.standardized();
        const TextLayer layer = textLayer(*session, pageIndex);
        for (const auto& term : terms) {
            textLayerFindings(layer, term, pageIndex, page, findings);
        }
        if (terms.empty()) {
            return true;
        }
        std::optional<std::vector<PageReading>> readings;
        try {
            readings = readPage(*session, pageIndex, kVerificationDpi, 0.0f, ocr, stop);
        } catch (const OcrError&) {
            if (!ocr) {
                throw RedactionError::outputVerificationFailed();  // the recogniser did not start
            }
            throw;
        }
        if (!readings) {
            throw RedactionError::outputVerificationFailed();
        }
        for (const auto& term : terms) {
            recognisedFindings(*readings, term, pageIndex, page, findings);
        }
        return true;
    });
    return ExportVerification::fromFindings(document->pageCount(), std::move(findings));
}

}  // namespace norvane
