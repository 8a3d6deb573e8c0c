#include "workspace/page_indicator.h"

#include "ui/themed_widgets.h"
#include "ui/typography.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QKeyEvent>
#include <QLineEdit>

#include <algorithm>
#include <cmath>
#include <functional>

namespace norvane {

namespace {

// Escape in the field gives the page being read back and leaves the field.
class PageField : public QLineEdit {
public:
    using QLineEdit::QLineEdit;
    std::function<void()> onEscape;

protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_Escape && onEscape) {
            onEscape();
            event->accept();
            return;
        }
        QLineEdit::keyPressEvent(event);
    }
};

}  // namespace

PageIndicator::PageIndicator(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("pageIndicator"));
    const QFont font = theme::font(theme::TextStyle::Body);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(5);
    before_ = new theme::ThemedLabel(QStringLiteral("Page"), font, theme::secondaryText(), this);
    auto* field = new PageField(this);
    field->onEscape = [this] {
        restore();
        field_->clearFocus();
    };
    field_ = field;
    field_->setObjectName(QStringLiteral("pageField"));
    field_->setFont(font);
    field_->setAlignment(Qt::AlignCenter);
    field_->setValidator(new QIntValidator(1, 999999, field_));
    field_->setAccessibleName(QStringLiteral("Go to Page"));
    after_ = new theme::ThemedLabel(QString(), font, theme::secondaryText(), this);
    zoom_ = new theme::ThemedLabel(QString(), font, theme::secondaryText(), this);
    zoom_->setObjectName(QStringLiteral("zoomLevel"));
    row->addWidget(before_);
    row->addWidget(field_);
    row->addWidget(after_);
    row->addSpacing(10);
    row->addWidget(zoom_);
    connect(field_, &QLineEdit::returnPressed, this, &PageIndicator::submit);
    connect(field_, &QLineEdit::editingFinished, this, &PageIndicator::restore);
    setPage(0, 0);
    setZoom(1.0);
}

void PageIndicator::setZoom(double zoom) {
    zoom_->setText(QString::number(std::lround(zoom * 100)) + QChar(u'%'));
    zoom_->setAccessibleName(QStringLiteral("Zoom ") + zoom_->text());
}

QString PageIndicator::zoomText() const {
    return zoom_->text();
}

void PageIndicator::setPage(qint64 pageIndex, qint64 pageCount) {
    page_ = pageIndex;
    count_ = pageCount;
    const QString last = QString::number(std::max<qint64>(pageCount, 1));
    field_->setFixedWidth(field_->fontMetrics().horizontalAdvance(last) + 22);
    after_->setText(QStringLiteral("of ") + QString::number(pageCount));
    if (!field_->hasFocus()) {
        restore();
    }
}

QString PageIndicator::text() const {
    return QStringLiteral("Page %1 of %2").arg(page_ + 1).arg(count_);
}

void PageIndicator::editPage() {
    field_->setFocus(Qt::ShortcutFocusReason);
    field_->selectAll();
}

void PageIndicator::submit() {
    bool ok = false;
    const qint64 number = field_->text().toLongLong(&ok);
    if (ok && number >= 1 && number <= count_) {
        emit pageRequested(number - 1);
    }
    restore();
}

void PageIndicator::restore() {
    field_->setText(QString::number(page_ + 1));
}

}  // namespace norvane
