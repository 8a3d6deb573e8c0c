#include "engine/inspection.h"

#include "engine/inspection_parts.h"
#include "engine/page_loop.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <array>
#include <utility>

namespace norvane {
namespace {

struct KindWords {
    InspectionKind key;
    std::string_view raw;
    std::string_view one;   // "1 failed redaction"; empty: named without a number
    std::string_view many;  // "2 failed redactions", or the name alone
    std::string_view line;  // a row of the list
};

constexpr std::array kKinds{
    KindWords{InspectionKind::failedRedaction, "failedRedaction", "failed redaction", "failed redactions",
              "Failed redaction"},
    KindWords{InspectionKind::coveredText, "coveredText", "covered text", "covered texts", "Covered text"},
    KindWords{InspectionKind::invisibleText, "invisibleText", "invisible text", "invisible texts", "Invisible text"},
    KindWords{InspectionKind::textOutsidePage, "textOutsidePage", "text off the page", "texts off the page",
              "Text off the page"},
    KindWords{InspectionKind::tinyText, "tinyText", "tiny text", "tiny texts", "Text under 1 point"},
    KindWords{InspectionKind::ocrLayer, "ocrLayer", "", "recognised text layer", "Recognised text layer"},
    KindWords{InspectionKind::unappliedRedaction, "unappliedRedaction", "unapplied redaction", "unapplied redactions",
              "Redaction mark never applied"},
    KindWords{InspectionKind::darkAnnotation, "darkAnnotation", "dark mark over text", "dark marks over text",
              "Dark mark over text"},
    KindWords{InspectionKind::hiddenLayer, "hiddenLayer", "", "hidden layers", "Hidden layer"},
    KindWords{InspectionKind::comment, "comment", "comment", "comments", "Comment"},
    KindWords{InspectionKind::formValue, "formValue", "form value", "form values", "Form value"},
    KindWords{InspectionKind::attachment, "attachment", "attachment", "attachments", "Attachment"},
    KindWords{InspectionKind::javascript, "javascript", "", "JavaScript", "JavaScript"},
    KindWords{InspectionKind::action, "action", "action", "actions", "Action leaving the document"},
    KindWords{InspectionKind::metadata, "metadata", "", "metadata", "Metadata"},
    KindWords{InspectionKind::earlierRevision, "earlierRevision", "earlier revision", "earlier revisions",
              "Earlier revision"},
    KindWords{InspectionKind::bookmarks, "bookmarks", "", "bookmarks", "Bookmarks"},
    KindWords{InspectionKind::pageLabels, "pageLabels", "", "page labels", "Page labels"},
    KindWords{InspectionKind::pageNotInspected, "pageNotInspected", "page not inspected", "pages not inspected",
              "Not inspected"},
};

// The row of `table` for `key`; the last row for a value no row names.
template <class Table, class Key>
const auto& rowFor(const Table& table, Key key) {
    for (const auto& row : table) {
        if (row.key == key) {
            return row;
        }
    }
    return table.back();
}

struct CauseWords {
    HidingCause key;
    std::string_view raw;
    std::string_view words;  // after "12 characters"
};

constexpr std::array kCauses{
    CauseWords{HidingCause::box, "box", "under a box"},
    CauseWords{HidingCause::image, "image", "under an image"},
    CauseWords{HidingCause::annotation, "annotation", "under an annotation"},
    CauseWords{HidingCause::drawing, "drawing", "under a drawing"},
    CauseWords{HidingCause::colour, "colour", "in the colour behind it"},
    CauseWords{HidingCause::renderMode, "renderMode", "drawn invisibly"},
    CauseWords{HidingCause::transparent, "transparent", "fully transparent"},
    CauseWords{HidingCause::clipped, "clipped", "clipped away"},
    CauseWords{HidingCause::emptyGlyph, "emptyGlyph", "in a font that draws nothing"},
};

bool isTextKind(InspectionKind kind) {
    switch (kind) {
        case InspectionKind::failedRedaction:
        case InspectionKind::coveredText:
        case InspectionKind::invisibleText:
        case InspectionKind::textOutsidePage:
        case InspectionKind::tinyText:
        case InspectionKind::ocrLayer:
        case InspectionKind::darkAnnotation:
            return true;
        default:
            return false;
    }
}

// Each worker's own session and recogniser: neither may cross threads.
struct InspectionWorker {
    std::optional<mu::Session> session;
    std::optional<OcrService> ocr;
};

}  // namespace

std::string_view rawValue(InspectionKind kind) {
    return rowFor(kKinds, kind).raw;
}

std::optional<InspectionKind> inspectionKindFromRawValue(std::string_view raw) {
    for (const auto& words : kKinds) {
        if (words.raw == raw) {
            return words.key;
        }
    }
    return std::nullopt;
}

std::string_view rawValue(HidingCause cause) {
    return rowFor(kCauses, cause).raw;
}

bool isCoveredText(InspectionKind kind) {
    return kind == InspectionKind::failedRedaction || kind == InspectionKind::coveredText;
}

std::string inspectionSummary(const std::vector<InspectionFinding>& findings) {
    std::string summary;
    for (const auto& words : kKinds) {
        std::int64_t number = 0;
        for (const auto& finding : findings) {
            if (finding.kind == words.key) {
                // Revisions are one finding that counts them.
                number += words.key == InspectionKind::earlierRevision ? finding.count : 1;
            }
        }
        if (number == 0) {
            continue;
        }
        if (!summary.empty()) {
            summary += " \u00B7 ";
        }
        if (words.one.empty()) {
            summary += words.many;
        } else {
            summary += std::to_string(number) + " " + std::string(number == 1 ? words.one : words.many);
        }
    }
    return summary;
}

std::string describe(const InspectionFinding& finding) {
    if (finding.kind == InspectionKind::pageNotInspected) {
        return finding.pageIndex < 0 ? std::string("The document's own objects could not be inspected")
                                     : "Page " + std::to_string(finding.pageIndex + 1) + " could not be inspected";
    }
    std::string line(rowFor(kKinds, finding.kind).line);
    if (isTextKind(finding.kind)) {
        line += ": " + std::to_string(finding.count) + (finding.count == 1 ? " character" : " characters");
        if (finding.cause) {
            line += " ";
            line += rowFor(kCauses, *finding.cause).words;
        }
    } else if (finding.count > 1) {
        line += " (" + std::to_string(finding.count) + ")";
    }
    return line;
}

std::vector<InspectionFinding> inspectDocument(const SharedPdfDocument& document, const InspectionOptions& options,
                                               const PageProgress& progress, std::stop_token stop) {
    std::vector<InspectionFinding> findings;
    PageInspectionSetup setup;
    setup.withText = options.withText;
    setup.languages = options.recognition.languages;
    try {
        const mu::Session session(document);
        setup.hiddenLayers = inspectFile(session, options.withText, findings).hiddenLayers;
    } catch (const mu::MuPdfError&) {
        findings.push_back({InspectionKind::pageNotInspected, -1, std::nullopt, 1, std::nullopt, {}});
    }
    const std::int64_t pageCount = document->pageCount();
    // In the background one thread is enough: more would contend for MuPDF's shared locks with
    // the pages being drawn.
    const int workers = options.background ? 1 : pageWorkerCount(pageCount);
    forEachPageInParallel<InspectionWorker>(
        pageCount, workers, readingWindow(workers), progress, stop,
        [&](InspectionWorker& worker, std::int64_t pageIndex, const std::stop_token& pageStop) {
        if (pageStop.stop_requested()) {
            throw CancellationError();
        }
        if (!worker.session) {
            if (options.background) {
                // Linux gives each thread its own nice value.
                setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), 19);
            }
            try {
                worker.session.emplace(document);
            } catch (const mu::MuPdfError&) {
                return std::vector<InspectionFinding>{
                    {InspectionKind::pageNotInspected, pageIndex, std::nullopt, 1, std::nullopt, {}}};
            }
        }
        return inspectPage(*worker.session, pageIndex, setup, worker.ocr);
        },
        [&](std::int64_t, std::vector<InspectionFinding> page) {
        findings.insert(findings.end(), std::make_move_iterator(page.begin()), std::make_move_iterator(page.end()));
    });
    return findings;
}

}  // namespace norvane
