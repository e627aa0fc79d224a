#pragma once

#include <QObject>
#include <QString>
#include <QVector>

class QComboBox;
class QMimeData;

/// Lets the user drop one local file anywhere on a page. The file's path goes into the field for
/// its suffix. A file that no enabled field takes is refused during the drag.
class FileDrop : public QObject
{
public:
    /// Owned by `page`.
    explicit FileDrop(QWidget* page);

    /// Files with `suffix`, in any case, go to `field`.
    void addField(const QString& suffix, QComboBox* field);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Field {
        QString suffix;
        QComboBox* combo;
    };

    QComboBox* fieldFor(const QString& file) const;

    QVector<Field> m_fields;
};
