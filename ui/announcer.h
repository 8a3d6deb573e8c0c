#pragma once
// Says a short status aloud through the desktop's accessibility service without moving the
// keyboard focus: the end of a search, an export or a verification. Each window has one, an
// alert-role object a screen reader speaks when its text changes.

#include <QString>
#include <QWidget>

namespace norvane {

class Announcer : public QWidget {
    Q_OBJECT
public:
    // The announcer of `widget`'s window, made on first use.
    static Announcer* of(QWidget* widget);
    static void announce(QWidget* from, const QString& text);

    void say(const QString& text);
    const QString& lastAnnouncement() const { return last_; }

private:
    explicit Announcer(QWidget* window);
    QString last_;
};

}  // namespace norvane
