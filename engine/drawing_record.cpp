#include "engine/drawing_record.h"

#include "engine/search_keys.h"

#include <cmath>

namespace norvane {
namespace {

// Callbacks run inside MuPDF, which unwinds with longjmp: nothing with a destructor may be alive
// in their frames when they call MuPDF, and no C++ exception may leave them. MuPDF calls go
// first, into plain values; recording happens afterwards in functions that catch everything.

struct Relay {
    fz_device super;
    fz_device* target;
    RecordingTarget* recording;  // null: the textless device
    fz_path* empty;              // the textless device's clip for text: nothing passes
};

Relay* relay(fz_device* dev) {
    return reinterpret_cast<Relay*>(dev);
}

// The clip in force, or everything when nothing clips.
fz_rect clipTop(const RecordingTarget& r) {
    return r.clips.empty() ? fz_infinite_rect : r.clips.back();
}

bool drawsOnPage(const RecordingTarget& r) {
    return r.maskDepth == 0 && r.tileDepth == 0;
}

void pushClip(RecordingTarget* r, fz_rect area) noexcept {
    if (!r) {
        return;
    }
    try {
        r->clips.push_back(fz_intersect_rect(area, clipTop(*r)));
    } catch (...) {
        r->outOfMemory = true;
    }
}

void popClip(RecordingTarget* r) noexcept {
    if (r && !r->clips.empty()) {
        r->clips.pop_back();
    }
}

void addMark(RecordingTarget* r, fz_rect box, MarkKind kind) noexcept {
    if (!r || !drawsOnPage(*r)) {
        return;
    }
    box = fz_intersect_rect(box, clipTop(*r));
    if (fz_is_empty_rect(box)) {
        return;
    }
    try {
        r->record.marks.push_back(RecordedMark{r->nextOrder++, box, kind, r->annotation});
    } catch (...) {
        r->outOfMemory = true;
    }
}

struct PathShape {
    int moves = 0;
    int lines = 0;
    int curves = 0;
    int rects = 0;
};

bool isFlatBox(fz_context* ctx, const fz_path* path) {
    static const fz_path_walker walker{
        [](fz_context*, void* arg, float, float) { ++static_cast<PathShape*>(arg)->moves; },
        [](fz_context*, void* arg, float, float) {
        ++static_cast<PathShape*>(arg)->lines;
        },
        [](fz_context*, void* arg, float, float, float, float, float, float) {
        ++static_cast<PathShape*>(arg)->curves;
    },
        [](fz_context*, void*) {}, nullptr, nullptr, nullptr,
        [](fz_context*, void* arg, float, float, float, float) { ++static_cast<PathShape*>(arg)->rects; },
        };
    PathShape shape;
    fz_walk_path(ctx, path, &walker, &shape);
    if (shape.curves > 0) {
        return false;
    }
    return (shape.rects == 1 && shape.moves == 0 && shape.lines == 0) ||
           (shape.rects == 0 && shape.moves == 1 && shape.lines >= 3 && shape.lines <= 4);
}

// One glyph as MuPDF gives it, in plain values.
struct GlyphFacts {
    fz_rect box;
    fz_rect pen;
    bool hasInk;
    double size;
    int ucs;
    bool continuation;  // a further character of the glyph before it (ligatures)
};

void addGlyph(RecordingTarget* r, const GlyphFacts& facts, GlyphMode mode, float alpha, std::int64_t run) noexcept {
    try {
        auto& glyphs = r->record.glyphs;
        if (facts.continuation) {
            if (!glyphs.empty() && glyphs.back().run == run && facts.ucs > 0) {
                appendUtf8(glyphs.back().text, static_cast<char32_t>(facts.ucs));
            }
            return;
        }
        RecordedGlyph glyph;
        glyph.order = r->nextOrder++;
        glyph.box = facts.box;
        glyph.pen = facts.pen;
        if (facts.ucs > 0) {
            appendUtf8(glyph.text, static_cast<char32_t>(facts.ucs));
        }
        glyph.mode = mode;
        glyph.alpha = alpha;
        const fz_point centre{(facts.box.x0 + facts.box.x1) / 2, (facts.box.y0 + facts.box.y1) / 2};
        glyph.clipped = !fz_is_point_inside_rect(centre, clipTop(*r));
        glyph.hasInk = facts.hasInk;
        glyph.size = facts.size;
        glyph.run = run;
        glyphs.push_back(std::move(glyph));
    } catch (...) {
        r->outOfMemory = true;
    }
}

bool hasArea(const fz_rect& r) {
    return r.x1 - r.x0 > 1e-3f && r.y1 - r.y0 > 1e-3f;
}

void recordText(fz_context* ctx, RecordingTarget* r, const fz_text* text, fz_matrix ctm, GlyphMode mode, float alpha) {
    if (!r || !drawsOnPage(*r) || !text) {
        return;
    }
    // Text filled and also used as a clip (render modes 4 to 6) arrives twice: keep the fill.
    if (mode == GlyphMode::clip && r->lastText == text) {
        return;
    }
    r->lastText = text;
    const std::int64_t run = r->nextRun++;
    for (const fz_text_span* span = text->head; span; span = span->next) {
        for (int i = 0; i < span->len; ++i) {
            const fz_text_item& item = span->items[i];
            GlyphFacts facts{};
            facts.ucs = item.ucs;
            if (item.gid < 0) {
                facts.continuation = true;
                addGlyph(r, facts, mode, alpha, run);
                continue;
            }
            fz_matrix trm = span->trm;
            trm.e = item.x;
            trm.f = item.y;
            const fz_matrix device = fz_concat(trm, ctm);
            facts.box = fz_bound_glyph(ctx, span->font, item.gid, device);
            const float advance = fz_advance_glyph(ctx, span->font, item.gid, span->wmode);
            const fz_rect em{0, fz_font_descender(ctx, span->font), advance, fz_font_ascender(ctx, span->font)};
            facts.pen = fz_transform_rect(em, device);
            facts.hasInk = hasArea(facts.box);
            if (!facts.hasInk) {
                // Fonts made for invisible text layers often have no outlines at all.
                facts.box = facts.pen;
            }
            facts.size = fz_matrix_expansion(device);
            addGlyph(r, facts, mode, alpha, run);
        }
    }
}

void installRelay(Relay& d, fz_device* target, RecordingTarget* recording) {
    d.target = target;
    d.recording = recording;
    fz_device& s = d.super;
    s.fill_path = [](fz_context* ctx, fz_device* dev, const fz_path* path, int evenOdd, fz_matrix ctm,
                     fz_colorspace* cs, const float* colour, float alpha, fz_color_params params) {
        Relay* me = relay(dev);
        if (me->recording && drawsOnPage(*me->recording)) {
            const fz_rect box = fz_bound_path(ctx, path, nullptr, ctm);
            const bool flat = alpha >= 0.99f && isFlatBox(ctx, path);
            addMark(me->recording, box, flat ? MarkKind::box : MarkKind::drawing);
        }
        fz_fill_path(ctx, me->target, path, evenOdd, ctm, cs, colour, alpha, params);
    };
    s.stroke_path = [](fz_context* ctx, fz_device* dev, const fz_path* path, const fz_stroke_state* stroke,
                       fz_matrix ctm, fz_colorspace* cs, const float* colour, float alpha, fz_color_params params) {
        Relay* me = relay(dev);
        if (me->recording && drawsOnPage(*me->recording)) {
            addMark(me->recording, fz_bound_path(ctx, path, stroke, ctm), MarkKind::drawing);
        }
        fz_stroke_path(ctx, me->target, path, stroke, ctm, cs, colour, alpha, params);
    };
    s.clip_path =
        [](fz_context* ctx, fz_device* dev, const fz_path* path, int evenOdd, fz_matrix ctm, fz_rect scissor) {
        Relay* me = relay(dev);
        if (me->recording) {
            pushClip(me->recording, fz_bound_path(ctx, path, nullptr, ctm));
        }
        fz_clip_path(ctx, me->target, path, evenOdd, ctm, scissor);
    };
    s.clip_stroke_path = [](fz_context* ctx, fz_device* dev, const fz_path* path, const fz_stroke_state* stroke,
                            fz_matrix ctm, fz_rect scissor) {
        Relay* me = relay(dev);
        if (me->recording) {
            pushClip(me->recording, fz_bound_path(ctx, path, stroke, ctm));
        }
        fz_clip_stroke_path(ctx, me->target, path, stroke, ctm, scissor);
    };
    s.fill_text = [](fz_context* ctx, fz_device* dev, const fz_text* text, fz_matrix ctm, fz_colorspace* cs,
                     const float* colour, float alpha, fz_color_params params) {
        Relay* me = relay(dev);
        recordText(ctx, me->recording, text, ctm, GlyphMode::fill, alpha);
        if (me->recording) {
            fz_fill_text(ctx, me->target, text, ctm, cs, colour, alpha, params);
        }
    };
    s.stroke_text = [](fz_context* ctx, fz_device* dev, const fz_text* text, const fz_stroke_state* stroke,
                       fz_matrix ctm, fz_colorspace* cs, const float* colour, float alpha, fz_color_params params) {
        Relay* me = relay(dev);
        recordText(ctx, me->recording, text, ctm, GlyphMode::fill, alpha);
        if (me->recording) {
            fz_stroke_text(ctx, me->target, text, stroke, ctm, cs, colour, alpha, params);
        }
    };
    s.clip_text = [](fz_context* ctx, fz_device* dev, const fz_text* text, fz_matrix ctm, fz_rect scissor) {
        Relay* me = relay(dev);
        if (me->recording) {
            recordText(ctx, me->recording, text, ctm, GlyphMode::clip, 1);
            pushClip(me->recording, fz_bound_text(ctx, text, nullptr, ctm));
            fz_clip_text(ctx, me->target, text, ctm, scissor);
        } else {
            fz_clip_path(ctx, me->target, me->empty, 0, ctm, scissor);
        }
    };
    s.clip_stroke_text = [](fz_context* ctx, fz_device* dev, const fz_text* text, const fz_stroke_state* stroke,
                            fz_matrix ctm, fz_rect scissor) {
        Relay* me = relay(dev);
        if (me->recording) {
            recordText(ctx, me->recording, text, ctm, GlyphMode::clip, 1);
            pushClip(me->recording, fz_bound_text(ctx, text, stroke, ctm));
            fz_clip_stroke_text(ctx, me->target, text, stroke, ctm, scissor);
        } else {
            fz_clip_path(ctx, me->target, me->empty, 0, ctm, scissor);
        }
    };
    s.ignore_text = [](fz_context* ctx, fz_device* dev, const fz_text* text, fz_matrix ctm) {
        Relay* me = relay(dev);
        recordText(ctx, me->recording, text, ctm, GlyphMode::invisible, 0);
        fz_ignore_text(ctx, me->target, text, ctm);
    };
    s.fill_shade =
        [](fz_context* ctx, fz_device* dev, fz_shade* shade, fz_matrix ctm, float alpha, fz_color_params params) {
        Relay* me = relay(dev);
        if (me->recording && drawsOnPage(*me->recording)) {
            addMark(me->recording, fz_bound_shade(ctx, shade, ctm), MarkKind::drawing);
        }
        fz_fill_shade(ctx, me->target, shade, ctm, alpha, params);
    };
    s.fill_image =
        [](fz_context* ctx, fz_device* dev, fz_image* image, fz_matrix ctm, float alpha, fz_color_params params) {
        Relay* me = relay(dev);
        addMark(me->recording, fz_transform_rect(fz_unit_rect, ctm), MarkKind::image);
        fz_fill_image(ctx, me->target, image, ctm, alpha, params);
    };
    s.fill_image_mask = [](fz_context* ctx, fz_device* dev, fz_image* image, fz_matrix ctm, fz_colorspace* cs,
                           const float* colour, float alpha, fz_color_params params) {
        Relay* me = relay(dev);
        addMark(me->recording, fz_transform_rect(fz_unit_rect, ctm), MarkKind::image);
        fz_fill_image_mask(ctx, me->target, image, ctm, cs, colour, alpha, params);
    };
    s.clip_image_mask = [](fz_context* ctx, fz_device* dev, fz_image* image, fz_matrix ctm, fz_rect scissor) {
        Relay* me = relay(dev);
        pushClip(me->recording, fz_transform_rect(fz_unit_rect, ctm));
        fz_clip_image_mask(ctx, me->target, image, ctm, scissor);
    };
    s.pop_clip = [](fz_context* ctx, fz_device* dev) {
        Relay* me = relay(dev);
        popClip(me->recording);
        fz_pop_clip(ctx, me->target);
    };
    s.begin_mask = [](fz_context* ctx, fz_device* dev, fz_rect area, int luminosity, fz_colorspace* cs,
                      const float* backdrop, fz_color_params params) {
        Relay* me = relay(dev);
        if (me->recording) {
            ++me->recording->maskDepth;
            me->recording->maskArea = area;
        }
        fz_begin_mask(ctx, me->target, area, luminosity, cs, backdrop, params);
    };
    s.end_mask = [](fz_context* ctx, fz_device* dev) {
        Relay* me = relay(dev);
        if (me->recording) {
            if (me->recording->maskDepth > 0) {
                --me->recording->maskDepth;
            }
            // The mask now clips what follows, up to its pop_clip.
            pushClip(me->recording, me->recording->maskArea);
        }
        fz_end_mask(ctx, me->target);
    };
    s.begin_group = [](fz_context* ctx, fz_device* dev, fz_rect area, fz_colorspace* cs, int isolated, int knockout,
                       int blend, float alpha) {
        fz_begin_group(ctx, relay(dev)->target, area, cs, isolated, knockout, blend, alpha);
    };
    s.end_group = [](fz_context* ctx, fz_device* dev) { fz_end_group(ctx, relay(dev)->target); };
    s.begin_tile = [](fz_context* ctx, fz_device* dev, fz_rect area, fz_rect view, float xstep, float ystep,
                      fz_matrix ctm, int id) {
        Relay* me = relay(dev);
        if (me->recording) {
            addMark(me->recording, area, MarkKind::drawing);
            ++me->recording->tileDepth;
        }
        return fz_begin_tile_id(ctx, me->target, area, view, xstep, ystep, ctm, id);
    };
    s.end_tile = [](fz_context* ctx, fz_device* dev) {
        Relay* me = relay(dev);
        if (me->recording && me->recording->tileDepth > 0) {
            --me->recording->tileDepth;
        }
        fz_end_tile(ctx, me->target);
    };
    s.render_flags = [](fz_context* ctx, fz_device* dev, int set, int clear) {
        fz_render_flags(ctx, relay(dev)->target, set, clear);
    };
    s.set_default_colorspaces = [](fz_context* ctx, fz_device* dev, fz_default_colorspaces* spaces) {
        fz_set_default_colorspaces(ctx, relay(dev)->target, spaces);
    };
    s.begin_layer = [](fz_context* ctx, fz_device* dev, const char* name) {
        fz_begin_layer(ctx, relay(dev)->target, name);
    };
    s.end_layer = [](fz_context* ctx, fz_device* dev) { fz_end_layer(ctx, relay(dev)->target); };
}

}  // namespace

fz_device* newRecordingDevice(fz_context* ctx, fz_device* target, RecordingTarget& recording) {
    Relay* d = fz_new_derived_device(ctx, Relay);
    installRelay(*d, target, &recording);
    d->empty = nullptr;
    return &d->super;
}

fz_device* newTextlessDevice(fz_context* ctx, fz_device* target) {
    fz_path* empty = fz_new_path(ctx);
    Relay* d = nullptr;
    fz_try(ctx) {
        d = fz_new_derived_device(ctx, Relay);
    }
    fz_catch(ctx) {
        fz_drop_path(ctx, empty);
        fz_rethrow(ctx);
    }
    installRelay(*d, target, nullptr);
    d->empty = empty;
    d->super.drop_device = [](fz_context* c, fz_device* dev) { fz_drop_path(c, relay(dev)->empty); };
    return &d->super;
}

}  // namespace norvane
