#pragma once
// Records every change signal an object emits, by property name, in order.

#include <QMetaMethod>
#include <QMetaProperty>
#include <QObject>
#include <QString>
#include <QStringList>

#include <map>

namespace norvane::testing {

class ChangeRecorder : public QObject {
    Q_OBJECT
public:
    explicit ChangeRecorder(QObject* target) {
        const QMetaObject* meta = target->metaObject();
        const QMetaMethod slot = metaObject()->method(metaObject()->indexOfSlot("record()"));
        for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
            const QMetaProperty property = meta->property(i);
            if (property.hasNotifySignal()) {
                names_[property.notifySignalIndex()] = QString::fromLatin1(property.name());
                connect(target, property.notifySignal(), this, slot);
            }
        }
    }

    QStringList changes;

public slots:
    void record() { changes << names_.at(senderSignalIndex()); }

private:
    std::map<int, QString> names_;
};

}  // namespace norvane::testing
