#pragma once
// What a screen reader is told about widgets whose default reading says nothing or too much:
// headings read as headings, and a symbol beside words that already say it is left out.

class QLabel;
class QWidget;

namespace norvane::accessibility {

// Makes the label a heading for assistive technology (its text is the heading's name).
void markHeading(QLabel* label);
// Hides a purely decorative widget from assistive technology; one with a name stays.
void markDecorative(QWidget* widget);
// Qt may make a widget's reading while constructing it, before the widget is what it will be:
// the next query reads it anew.
void forgetReading(QWidget* widget);
// Installs the readings above; safe to call often.
void install();

}  // namespace norvane::accessibility
