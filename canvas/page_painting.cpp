#include "canvas/page_painting.h"

#include "canvas/page_canvas.h"
#include "engine/redaction_label.h"
#include "ui/theme.h"

#include <QPainter>

#include <cmath>

namespace norvane {
namespace {

void paintPages(const PageCanvas& canvas, QPainter& painter, const std::vector<qint64>& shown) {
    const PageColumn& column = canvas.column();
    PageRenderService* renders = canvas.renderService().get();
    const double ratio = canvas.viewport()->devicePixelRatioF();
    const QRectF view = canvas.viewInContent();
    for (const qint64 index : shown) {
        const QRectF rect = canvas.pageRectInViewport(index);
        painter.fillRect(rect.translated(0, 1.5).adjusted(-1, -1, 1, 1), QColor(0, 0, 0, 40));
        const PageColumn::Picture picture = column.picture(index, view, ratio);
        // Placeholder until the worker delivers (or for a page that will not render).
        const QImage image = renders ? renders->image(index, picture.pixelsPerPoint) : QImage();
        if (image.isNull()) {
            painter.fillRect(rect, QColor(252, 252, 252));
        } else {
            const QSizeF target = rect.size() * ratio;
            const bool exact =
                std::abs(target.width() - image.width()) < 1.0 && std::abs(target.height() - image.height()) < 1.0;
            painter.setRenderHint(QPainter::SmoothPixmapTransform, !exact);
            painter.drawImage(rect, image);
        }
        // Tiles over the stand-in, pixel for pixel unless the page is too large even for tiles.
        const double toView = column.scale() / picture.pixelsPerPoint;
        painter.setRenderHint(QPainter::SmoothPixmapTransform, std::abs(toView * ratio - 1.0) > 1e-9);
        for (const QRect& tile : picture.tiles) {
            if (const QImage part = renders ? renders->tile(index, picture.pixelsPerPoint, tile) : QImage();
                !part.isNull()) {
                painter.drawImage(
                    QRectF(rect.topLeft() + QPointF(tile.topLeft()) * toView, QSizeF(part.size()) * toView), part);
            }
        }
    }
}

void paintMarks(const PageCanvas& canvas, QPainter& painter, const std::vector<qint64>& shown) {
    const QPalette& pal = canvas.palette();
    const double scale = canvas.scale();
    // Pending regions: solid black, whatever their source, clipped to their page.
    for (const qint64 index : shown) {
        painter.save();
        painter.setClipRect(canvas.pageRectInViewport(index));
        painter.setRenderHint(QPainter::Antialiasing, false);
        painter.setPen(QPen(Qt::black, 1.0));
        painter.setBrush(Qt::black);
        for (const ShownRegion& region : canvas.regionsOn(index)) {
            const QRectF box = canvas.pageRectToViewport(index, region.rect);
            painter.drawRect(box);
            // Box then label, in list order, so a later box covers an earlier label.
            if (canvas.labelRedactions()) {
                drawRedactionLabel(painter, box, scale);
            }
        }
        painter.restore();
    }

    // Outlines over the boxes: a hit already covered still shows where it is.
    painter.setRenderHint(QPainter::Antialiasing, true);
    for (const qint64 index : shown) {
        painter.save();
        painter.setClipRect(canvas.pageRectInViewport(index));
        for (const ShownOutline& shownOutline : canvas.outlinesOn(index)) {
            const PageOutline& outline = shownOutline.outline;
            const bool hidden = outline.kind == PageOutline::Kind::hiddenContent;
            const QColor tint = hidden                                       ? theme::hiddenContentOnPage()
                                : outline.kind == PageOutline::Kind::finding ? theme::systemOrange(pal)
                                                                             : theme::teal();
            // Dashed: told apart from hits and findings by more than its colour.
            painter.setPen(QPen(tint, outline.emphasised ? 3.0 : 1.5, hidden ? Qt::DashLine : Qt::SolidLine));
            painter.setBrush(theme::withAlpha(tint, outline.emphasised ? 0.30 : hidden ? 0.08 : 0.14));
            painter.drawRect(canvas.pageRectToViewport(index, outline.rect).adjusted(-1, -1, 1, 1));
        }
        painter.restore();
    }

    const QColor red = theme::systemRed(pal);
    for (const auto& preview : {canvas.dragPreview(), canvas.keyboardBoxInViewport()}) {
        if (preview) {
            painter.setPen(QPen(theme::withAlpha(red, 0.85), 2.0));
            painter.setBrush(theme::withAlpha(red, 0.22));
            painter.drawRect(*preview);
        }
    }
}

}  // namespace

void paintCanvas(const PageCanvas& canvas, QPainter& painter) {
    const QRectF view(QPointF(), QSizeF(canvas.viewport()->size()));
    painter.fillRect(view, theme::isDark(canvas.palette()) ? QColor(40, 40, 42) : QColor(226, 228, 231));
    const QRectF content = canvas.viewInContent();
    const auto [first, end] = canvas.column().pagesWithin(content.top(), content.bottom());
    std::vector<qint64> shown;
    for (qint64 index = first; index < end; ++index) {
        if (canvas.pageRectInViewport(index).intersects(view)) {
            shown.push_back(index);
        }
    }
    paintPages(canvas, painter, shown);
    paintMarks(canvas, painter, shown);
}

void drawRedactionLabel(QPainter& painter, const QRectF& box, double pixelsPerPoint) {
    // The size rule reads the box in page points, as the reader sees it.
    const std::optional<double> points =
        redactionLabelSize(box.width() / pixelsPerPoint, box.height() / pixelsPerPoint);
    if (!points) {
        return;
    }
    // Set large and scaled down, so the size is not rounded to whole pixels.
    constexpr int kSetSize = 100;
    QFont font(QStringLiteral("Helvetica"));
    font.setStyleHint(QFont::SansSerif);
    font.setBold(true);
    font.setPixelSize(kSetSize);
    const QFontMetricsF metrics(font);
    const QString text =
        QString::fromLatin1(kRedactionLabelText.data(), static_cast<qsizetype>(kRedactionLabelText.size()));
    const double factor = *points * pixelsPerPoint / kSetSize;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setRenderHint(QPainter::TextAntialiasing, true);
    painter.translate(box.center());
    painter.scale(factor, factor);
    painter.setFont(font);
    painter.setPen(Qt::white);
    // Centred on the font's full height, as the export centres it.
    painter.drawText(QPointF(-metrics.horizontalAdvance(text) / 2, (metrics.ascent() - metrics.descent()) / 2), text);
    painter.restore();
}

}  // namespace norvane
