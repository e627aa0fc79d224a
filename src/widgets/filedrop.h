#pragma once

#include <QObject>
#include <QString>
#include <QVector>

class QComboBox;
class QMimeData;

/// Lets one local file be dropped anywhere on a page: it lands in the field for its suffix, and
/// only its path is taken. What no field of the page takes now is refused while it is dragged.
class FileDrop : public QObject
{
public:
    /// Belongs to `page`.
    explicit FileDrop(QWidget* page);

    /// Files with `suffix`, in capitals or not, go to `field`.
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
