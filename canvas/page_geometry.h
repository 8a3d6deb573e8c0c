#pragma once
// How a page is shown: its full media box turned by /Rotate (clockwise), measured in
// points from the top-left corner of what the reader sees, y down.

#include "engine/pdf_document.h"
#include "records/redaction_records.h"

#include <QRectF>
#include <QSizeF>
#include <QTransform>

namespace norvane {

// Width and height of the page as displayed, in points.
QSizeF displayedPageSize(const PdfPageInfo& page);

// Page space (points, y up, media-box coordinates) -> displayed points (y down).
QTransform pageToDisplayed(const PdfPageInfo& page);

// The page-space rectangle covered by a displayed rectangle, and back. Both standardised.
PageRect displayedRectToPage(const PdfPageInfo& page, const QRectF& displayed);
QRectF pageRectToDisplayed(const PdfPageInfo& page, const PageRect& rect);

}  // namespace norvane
