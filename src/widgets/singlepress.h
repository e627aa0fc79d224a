#pragma once

#include <QKeySequence>
#include <QObject>
#include <QVector>

class QKeyEvent;

/// Keeps shortcuts from repeating while their keys are held down: a repeated press does nothing,
/// whichever widget has the focus.
class SinglePress : public QObject
{
public:
    SinglePress(const QVector<QKeySequence>& shortcuts, QObject* parent);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool isRepeated(const QKeyEvent& press) const;

    QVector<QKeySequence> m_shortcuts;
    /// The timestamp of the last release of a key.
    quint64 m_released = 0;
};
