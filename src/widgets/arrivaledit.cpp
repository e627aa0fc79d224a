#include "widgets/arrivaledit.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QToolTip>

namespace
{

/// A drop copies also where its source would rather move: the source must lose nothing.
void answerDrag(QDropEvent& event)
{
    if (event.mimeData()->hasUrls() || !event.mimeData()->hasText()) {
        event.ignore();
        return;
    }
    event.setDropAction(Qt::CopyAction);
    event.accept();
}

} // namespace

void ArrivalEdit::tell(const QString& tip)
{
    QToolTip::showText(mapToGlobal(rect().bottomLeft()), tip, this);
}

void ArrivalEdit::pasteFrom(QClipboard::Mode clipboard)
{
    const QMimeData* content = QGuiApplication::clipboard()->mimeData(clipboard);
    if (content != nullptr && content->hasText()) {
        take(*content, false);
    }
}

void ArrivalEdit::keyPressEvent(QKeyEvent* event)
{
    if (!event->matches(QKeySequence::Paste)) {
        QLineEdit::keyPressEvent(event);
        return;
    }
    const Qt::KeyboardModifiers both = Qt::ControlModifier | Qt::ShiftModifier;
    pasteFrom((event->modifiers() & both) == both ? QClipboard::Selection : QClipboard::Clipboard);
}

void ArrivalEdit::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::MiddleButton && QGuiApplication::clipboard()->supportsSelection()) {
        deselect();
        pasteFrom(QClipboard::Selection);
    } else {
        QLineEdit::mouseReleaseEvent(event);
    }
}

void ArrivalEdit::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu* menu = createStandardContextMenu();
    menu->setAttribute(Qt::WA_DeleteOnClose);
    if (auto* paste = menu->findChild<QAction*>(QStringLiteral("edit-paste"))) {
        paste->disconnect(this);
        connect(paste, &QAction::triggered, this, [this] { pasteFrom(QClipboard::Clipboard); });
    }
    menu->popup(event->globalPos());
}

void ArrivalEdit::dragEnterEvent(QDragEnterEvent* event)
{
    answerDrag(*event);
}

void ArrivalEdit::dragMoveEvent(QDragMoveEvent* event)
{
    answerDrag(*event);
}

void ArrivalEdit::dropEvent(QDropEvent* event)
{
    answerDrag(*event);
    if (event->isAccepted()) {
        take(*event->mimeData(), true);
    }
}

void replaceText(QLineEdit& edit, const QString& text)
{
    edit.selectAll();
    edit.insert(text);
}
