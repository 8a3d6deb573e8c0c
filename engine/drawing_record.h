#pragma once
// A page's drawing as a sequence: where each glyph went and what was drawn after it, in
// device space. Private to the inspection, which judges from the pixels whether a glyph shows
// and from this order what hides it.

#include "engine/mupdf_session.h"

#include <cstdint>
#include <string>
#include <vector>

namespace norvane {

enum class GlyphMode {
    fill,       // filled or stroked: meant to show
    clip,       // used only as a clip (render modes 4 to 7 or pattern-filled text)
    invisible,  // render mode 3
};

struct RecordedGlyph {
    std::int64_t order = 0;  // position in the drawing sequence
    fz_rect box{};           // the glyph's ink (its advance box where it has no ink)
    fz_rect pen{};           // from its origin across its advance, ascender to descender
    std::string text;        // UTF-8; several characters for a ligature
    GlyphMode mode = GlyphMode::fill;
    float alpha = 1;
    bool clipped = false;  // its centre lies outside the clip in force
    bool hasInk = true;    // false: box is the advance box of an empty glyph
    double size = 0;       // em size in device units
    std::int64_t run = 0;  // glyphs of one text object share it
};

enum class MarkKind { box, image, drawing };

// Something drawn that can cover what was drawn before it.
struct RecordedMark {
    std::int64_t order = 0;
    fz_rect box{};
    MarkKind kind = MarkKind::drawing;
    int annotation = -1;  // index in the page's annotations (widgets after them); -1 for content
};

struct DrawingRecord {
    std::vector<RecordedGlyph> glyphs;
    std::vector<RecordedMark> marks;
};

// A device that records into `record` while passing every call on to `target`.
// `annotation` is read at each call: set it before running each annotation.
struct RecordingTarget {
    DrawingRecord record;
    int annotation = -1;
    bool outOfMemory = false;  // something could not be recorded: the record is incomplete

    // The device's own bookkeeping.
    std::vector<fz_rect> clips;  // each clip's bounds, narrowed by the ones around it
    int maskDepth = 0;           // inside a soft mask: nothing reaches the page
    int tileDepth = 0;           // inside a pattern cell: drawn as the tile's mark
    fz_rect maskArea{};
    std::int64_t nextOrder = 0;
    std::int64_t nextRun = 0;
    const fz_text* lastText = nullptr;
};
fz_device* newRecordingDevice(fz_context* ctx, fz_device* target, RecordingTarget& recording);

// A device that passes everything on to `target` except text: filled and stroked text is
// dropped, text used as a clip clips everything away.
fz_device* newTextlessDevice(fz_context* ctx, fz_device* target);

}  // namespace norvane
