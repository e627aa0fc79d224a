#include "widgets/filedrop.h"

#include "widgets/arrivaledit.h"
#include "widgets/localfile.h"

#include <QComboBox>
#include <QDropEvent>
#include <QFileInfo>

#include <algorithm>

FileDrop::FileDrop(QWidget* page) : QObject(page)
{
    page->setAcceptDrops(true);
    page->installEventFilter(this);
}

void FileDrop::addField(const QString& suffix, QComboBox* field)
{
    m_fields.append({suffix, field});
}

bool FileDrop::eventFilter(QObject* watched, QEvent* event)
{
    const bool isDrop = event->type() == QEvent::Drop;
    if (!isDrop && event->type() != QEvent::DragEnter && event->type() != QEvent::DragMove) {
        return QObject::eventFilter(watched, event);
    }
    auto* drag = static_cast<QDropEvent*>(event);
    const QString file = localFile(*drag->mimeData());
    QComboBox* field = fieldFor(file);
    acceptCopy(*drag, field != nullptr);
    if (isDrop && drag->isAccepted()) {
        replaceText(*field->lineEdit(), file);
    }
    return true;
}

QComboBox* FileDrop::fieldFor(const QString& file) const
{
    const QString suffix = QFileInfo(file).suffix();
    const auto field = std::find_if(m_fields.begin(), m_fields.end(), [&](const Field& each) {
        return each.suffix.compare(suffix, Qt::CaseInsensitive) == 0;
    });
    return field != m_fields.end() && field->combo->isEnabled() ? field->combo : nullptr;
}
