// Text styles that follow the desktop's font size.

#include "ui/typography.h"

#include <QApplication>

#include <gtest/gtest.h>

namespace norvane::theme {
namespace {

TEST(Typography, StylesKeepTheirProportionsToTheDesktopFont) {
    const QFont saved = QApplication::font();
    const auto sizesAt = [&saved](double points) {
        QFont desktop = saved;
        desktop.setPointSizeF(points);
        QApplication::setFont(desktop);
        std::vector<double> sizes;
        for (auto style : {TextStyle::Body, TextStyle::LargeTitle, TextStyle::Headline, TextStyle::Caption})
            sizes.push_back(font(style).pointSizeF());
        sizes.push_back(systemFont(15, QFont::Bold).pointSizeF());
        return sizes;
    };
    const auto small = sizesAt(10), large = sizesAt(15);
    QApplication::setFont(saved);
    EXPECT_DOUBLE_EQ(small[0], 10.0);  // body is the desktop's own size
    EXPECT_DOUBLE_EQ(small[1], 20.0);  // a large title twice the body, as drawn
    for (size_t i = 0; i < small.size(); ++i)
        EXPECT_NEAR(large[i] / small[i], 1.5, 1e-9) << i;
}

}  // namespace
}  // namespace norvane::theme
