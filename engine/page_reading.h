#pragma once
// Reading a page's pixels with the recogniser, in every orientation its text may stand in.
// Private to the engine; shared by the OCR search and verification.

#include "engine/ocr_service.h"
#include "engine/page_raster.h"
#include "engine/search_keys.h"

#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>
#include <vector>

namespace norvane {

// One reading of a page in one orientation.
struct PageReading {
    PageImage geometry;  // size and pageToPixel of the image read; its samples are released
    std::vector<OcrLine> lines;
};

// What one reading thread keeps from page to page: its own MuPDF session and recogniser,
// neither of which may cross threads.
struct ReadingWorker {
    std::optional<mu::Session> session;
    std::optional<OcrService> ocr;  // started on the first page that renders

    // The worker's session over `document`, opened on first use; throws mu::MuPdfError.
    const mu::Session& open(const SharedPdfDocument& document) {
        if (!session) {
            session.emplace(document);
        }
        return *session;
    }
};

// Reads the page as displayed and, when its /Rotate turns it, also as stored. A scanner that
// records orientation stores the pixels turned, so the text is upright as displayed; a page
// turned afterwards keeps its text upright as stored. The recogniser reads only upright text
// reliably, so a turned page is read both ways; and when neither reading is confidently
// upright (a sheet scanned sideways or upside down), also in the turn the orientation model
// finds, or in every turn when it cannot tell. `ocr` is started on first use with `languages`
// and `features` (throws OcrError when it cannot start). A page that cannot be rendered gives
// the reason instead of readings.
using PageReadings = std::variant<std::vector<PageReading>, PageFailure>;
PageReadings readPage(const mu::Session& session, std::int64_t pageIndex, double dpi, float minimumLineHeight,
                      std::optional<OcrService>& ocr, const std::string& languages, std::stop_token stop,
                      const ReadingFeatures& features = {});

// The same readings of an image already drawn at `dpi` as the page is displayed (grey or RGB),
// on a page with /Rotate `rotation`.
std::vector<PageReading> readPageImage(PageImage displayed, int rotation, double dpi, float minimumLineHeight,
                                       OcrService& ocr, std::stop_token stop, const ReadingFeatures& features = {});

// The image turned clockwise by `degrees` (0, 90, 180 or 270), its page mapping turned with it.
PageImage turnedImage(const PageImage& image, int degrees);

// The widened page-space box of a recognised box; nothing for a box of no area, which would
// cover nothing.
std::optional<PageRect> coveringRect(const PageImage& image, const NormalizedBox& box);

// The same for the recognised characters of bytes [begin, end) of a line; nothing when none
// lies there. A stacked line's glyphs each get the margin of their own size.
std::optional<PageRect> coveringRect(const PageImage& image, const OcrLine& line, std::size_t begin, std::size_t end);

bool containsCentreOf(const PageRect& outer, const PageRect& inner);

// Text found in a recognised line and where it stands: the recognised characters when the line
// was read upright, else the whole line; nothing when neither has an area.
struct RecognisedHit {
    std::optional<PageRect> rect;
    std::string text;
};

// Where the OCR search finds `term`, whose recognitionKey is `queryKey`, in the readings:
// each line whose key holds it, and two lines of a block that hold it only together. A line
// gets tight boxes where the literal term places every occurrence, else it goes whole; a line
// read turned only where no upright reading placed it. Throws OcrError for a line without a
// usable position.
std::vector<PageRect> termMatches(const std::vector<PageReading>& readings, const std::string& term,
                                  const std::string& queryKey);

// Every range `find` reports in every line of the readings. A hit on a line read turned is
// kept only where no upright reading placed a hit inside it.
std::vector<RecognisedHit> recognisedHits(const std::vector<PageReading>& readings,
                                          const std::function<std::vector<ByteRange>(const std::string&)>& find);

}  // namespace norvane
