#include <QApplication>
#include <QLabel>
#include <QMainWindow>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Norvane"));
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Norvane - Redaction Tool"));
    window.setMinimumSize(1120, 740);
    window.resize(1320, 860);
    auto* placeholder = new QLabel(QStringLiteral("Norvane"), &window);
    placeholder->setAlignment(Qt::AlignCenter);
    window.setCentralWidget(placeholder);
    window.show();
    return QApplication::exec();
}
