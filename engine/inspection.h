#pragma once
// What an incoming PDF hides: text that exists but does not show (under a box, an image or an
// annotation, in the colour behind it, invisible, off the page, too small to see), unapplied
// redaction marks, hidden layers, and what a reader never sees on the page (comments, form
// values, attachments, scripts, metadata, earlier revisions). Findings say what and where,
// never the hidden content unless asked for it.

#include "engine/redaction_engine.h"
#include "records/redaction_records.h"

#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace norvane {

enum class InspectionKind {
    failedRedaction,  // text under a flat dark patch (a box, a one-colour image) or dark text on one
    coveredText,      // other text under an image, an annotation, a drawing or a light box, or in the colour behind it
    invisibleText,    // text drawn invisibly (render mode 3, fully transparent, clipped away)
    textOutsidePage,  // text outside the crop box
    tinyText,         // text under 1 point
    ocrLayer,         // invisible text over a scan, reading what the scan shows
    unappliedRedaction,  // a /Redact annotation that was never applied
    darkAnnotation,      // a dark highlight or square annotation over text
    hiddenLayer,         // content in an optional content group that is off
    comment,             // an annotation carrying text
    formValue,           // a form field with a value
    attachment,          // an embedded file or a file-attachment annotation
    javascript,          // document, page, field or annotation scripts
    action,              // actions that leave the document (launch, submit, import, remote go-to)
    metadata,            // Info dictionary keys and XMP
    earlierRevision,     // incremental updates: older versions of the file are still inside it
    bookmarks,           // the outline
    pageLabels,          // page labels
    pageNotInspected,    // a page that could not be inspected
};

// What hides covered or invisible text, named from the drawing order.
enum class HidingCause {
    box,          // a flat filled shape drawn after the text
    image,        // an image drawn after the text
    annotation,   // an annotation drawn over the text
    drawing,      // another drawing (stroke, shading, pattern) drawn after the text
    colour,       // nothing drawn over it: the text has the colour of what is behind it
    renderMode,   // text render mode 3
    transparent,  // drawn with no opacity
    clipped,      // drawn outside its clip
    emptyGlyph,   // the font draws nothing for it
};

std::string_view rawValue(InspectionKind kind);
std::optional<InspectionKind> inspectionKindFromRawValue(std::string_view raw);
std::string_view rawValue(HidingCause cause);

// True for findings the person can act on by redacting their place: failed redactions and
// covered text.
bool isCoveredText(InspectionKind kind);

struct InspectionFinding {
    InspectionKind kind = InspectionKind::comment;
    std::int64_t pageIndex = -1;       // -1 for the document as a whole
    std::optional<PageRect> rect;      // page space, standardised; nothing where there is no place
    std::int64_t count = 1;            // characters for text findings, items for the rest
    std::optional<HidingCause> cause;  // covered and invisible text only
    // The hidden text, comment, value, file name or script; filled only when asked for.
    std::string text;

    friend bool operator==(const InspectionFinding&, const InspectionFinding&) = default;
};

struct InspectionOptions {
    bool withText = false;  // fill InspectionFinding::text
    // One thread at the lowest priority, so pages being drawn for the person come first.
    bool background = false;
    // Invisible text over a scanned image is checked against what the recogniser reads there.
    RecognitionOptions recognition;
};

// Findings in page order, document-wide ones (pageIndex -1) first. Every page that cannot be
// read is a pageNotInspected finding. Throws CancellationError when `stop` is requested,
// RedactionError::cannotOpenPDF when the document itself cannot be read.
std::vector<InspectionFinding> inspectDocument(const SharedPdfDocument& document, const InspectionOptions& options,
                                               const PageProgress& progress, std::stop_token stop = {});

// "2 failed redactions · 3 comments · metadata": one part per kind found, in kind order; empty
// when nothing was found.
std::string inspectionSummary(const std::vector<InspectionFinding>& findings);

// One finding as a line of a list, without its text: "Failed redaction: 12 characters under a
// box", "Page 3 could not be inspected".
std::string describe(const InspectionFinding& finding);

}  // namespace norvane
