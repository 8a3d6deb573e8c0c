// The theme's own colours measured for legibility in light and dark, and text styles that
// follow the desktop's font size.

#include "ui/theme.h"
#include "ui/accessibility.h"
#include "ui/announcer.h"
#include "ui/themed_widgets.h"
#include "ui/typography.h"

#include <QAccessible>
#include <QApplication>

#include <algorithm>

#include <gtest/gtest.h>

namespace norvane::theme {
namespace {

TEST(Contrast, TheRatioIsTheWebsAndAnUnreachableOneEndsAtTheExtreme) {
    EXPECT_NEAR(contrastRatio(QColor(0x77, 0x77, 0x77), Qt::white), 4.48, 0.005);  // the classic near miss
    EXPECT_EQ(readableOn(QColor(60, 60, 60), {QColor(60, 60, 60)}, 30.0), QColor(Qt::white));
    EXPECT_EQ(readableOn(QColor(200, 200, 200), {QColor(Qt::white)}, 30.0), QColor(Qt::black));
}

TEST(Contrast, ControlsAndSmallTextStandOutInLightAndDark) {
    for (const auto& [look, palette] : {std::pair("light", lightPalette()), std::pair("dark", darkPalette())}) {
        SCOPED_TRACE(look);
        const QColor window = windowBackground(palette);
        const QColor cards = controlBackground(palette);
        const QColor veiled = isDark(palette) ? over(darkCardVeil(), window) : window;
        const ProminentColors button = prominentColors(palette, navy());
        const struct {
            const char* what;
            QColor color;
            QColor surface;
            double ratio;
        } cases[] = {
            {"secondary text on the window", secondaryLabelColor(palette), window, textContrast},
            {"secondary text on cards", secondaryLabelColor(palette), cards, textContrast},
            {"toolbar divider", dividerColor(palette), window, controlContrast},
            {"check box on the window", controlOutline(palette), window, controlContrast},
            {"check box on cards", controlOutline(palette), cards, controlContrast},
            {"Export Secure Copy", button.border, window, controlContrast},
            {"Select PDFs on the landing card", button.border, veiled, controlContrast},
            {"Select PDFs filled on the landing card", button.fill, veiled, controlContrast},
            {"Needs Review on the window", systemOrange(palette), window, textContrast},
            {"Verification Passed on the window", systemGreen(palette), window, textContrast},
            {"pending count on the toolbar", systemRed(palette), window, textContrast},
            {"Find Text chip on its tint", systemBlue(palette), over(withAlpha(systemBlue(palette), 0.18), window),
             textContrast},
            {"OCR chip on cards", systemPurple(palette), cards, textContrast},
            {"hidden content on the page", hiddenContentOnPage(), Qt::white, textContrast},
            {"hidden content on cards", hiddenContent(palette), cards, textContrast},
            {"button title", button.text, button.fill, textContrast},
            {"guide step disc", outlineOn(navy(), 1.0, cards), cards, controlContrast},
            {"Manual card outline", outlineOn(orange(), 0.2, cards), cards, controlContrast},
            {"Find Text card outline", outlineOn(navy(), 0.2, cards), cards, controlContrast},
        };
        for (const auto& c : cases) {
            EXPECT_GE(contrastRatio(c.color, c.surface), c.ratio) << c.what;
        }
        // Disabled reads as disabled: a title far weaker than the enabled one, no outline to speak of.
        EXPECT_LT(contrastRatio(button.disabledText, button.disabledFill),
                  std::min(contrastRatio(button.text, button.fill) / 1.5, textContrast));
        EXPECT_LT(contrastRatio(button.disabledBorder, window), controlContrast);
    }
}

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

// What a screen reader is told: headings are headings, a symbol beside words says nothing unless
// it alone carries the meaning, and an announcement is an alert whose name is what was said.
TEST(Accessibility, HeadingsSymbolsAndAnnouncementsReadAsWhatTheyAre) {
    QWidget window;
    ThemedLabel heading(QStringLiteral("Pending Redactions"), font(TextStyle::Headline), primaryText(), &window);
    accessibility::markHeading(&heading);
    SymbolView decorative(QStringLiteral("lock.shield.fill"), 14, primaryText(), &window);
    SymbolView meaningful(QStringLiteral("checkmark.shield.fill"), 14, primaryText(), &window);
    meaningful.setAccessibleName(QStringLiteral("Verification Passed"));
    window.show();

    const auto read = [](QObject* object) { return QAccessible::queryAccessibleInterface(object); };
    EXPECT_EQ(read(&heading)->role(), QAccessible::Heading);
    EXPECT_EQ(read(&heading)->text(QAccessible::Name), QStringLiteral("Pending Redactions"));
    EXPECT_TRUE(read(&decorative)->state().invisible);
    EXPECT_FALSE(read(&meaningful)->state().invisible);
    EXPECT_EQ(read(&meaningful)->text(QAccessible::Name), QStringLiteral("Verification Passed"));

    Announcer::announce(&heading, QStringLiteral("12 text matches"));
    Announcer::announce(&meaningful, QString());  // nothing to say changes nothing
    Announcer* announcer = Announcer::of(&decorative);
    ASSERT_NE(announcer, nullptr);
    EXPECT_EQ(announcer->parentWidget(), &window) << "one per window";
    EXPECT_EQ(read(announcer)->role(), QAccessible::AlertMessage);
    EXPECT_EQ(read(announcer)->text(QAccessible::Name), QStringLiteral("12 text matches"));
}

}  // namespace
}  // namespace norvane::theme
