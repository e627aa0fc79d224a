#include "widgets/arrivaledit.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QTimer>
#include <QToolTip>
#include <QWindow>

namespace
{

void answerDrag(QDropEvent& event)
{
    const bool isText = event.mimeData()->hasText() && !event.mimeData()->hasUrls();
    acceptCopy(event, isText);
}

/// The tip may cover the next field. A click there is meant for the field.
void letClicksThroughTip()
{
    const QWindowList windows = QGuiApplication::topLevelWindows();
    for (QWindow* window : windows) {
        if (window->type() == Qt::ToolTip) {
            window->setFlag(Qt::WindowTransparentForInput);
        }
    }
}

/// Begins a new step for undo. Only a move of the cursor does that.
void endUndoStep(QLineEdit& edit)
{
    const int cursor = edit.cursorPosition();
    edit.setCursorPosition(cursor == 0 ? edit.text().size() : 0);
    edit.setCursorPosition(cursor);
}

} // namespace

void ArrivalEdit::tell(const QString& tip)
{
    QToolTip::showText(mapToGlobal(rect().bottomLeft()), tip, this);
    letClicksThroughTip();
}

void ArrivalEdit::pasteFrom(QClipboard::Mode clipboard)
{
    const QMimeData* content = QGuiApplication::clipboard()->mimeData(clipboard);
    if (content != nullptr && content->hasText()) {
        receive(*content, false);
    }
}

void ArrivalEdit::pasteFromMenu()
{
    constexpr int closingMs = 100;
    pasteFrom(QClipboard::Clipboard);
    // A closed menu returns the focus a little later, which hides any tip.
    QTimer::singleShot(closingMs, this, [this, tip = QToolTip::text()] {
        if (!tip.isEmpty()) {
            tell(tip);
        }
    });
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
    for (QAction* action : menu->actions()) {
        if (action->text().startsWith(tr("&Paste"))) {
            action->disconnect(this);
            connect(action, &QAction::triggered, this, &ArrivalEdit::pasteFromMenu);
        }
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
        receive(*event->mimeData(), true);
    }
}

void acceptCopy(QDropEvent& drag, bool isTaken)
{
    drag.setDropAction(Qt::CopyAction);
    drag.setAccepted(isTaken && drag.possibleActions().testFlag(Qt::CopyAction));
}

void insertText(QLineEdit& edit, const QString& text)
{
    if (!edit.hasSelectedText()) {
        endUndoStep(edit);
    }
    edit.insert(text);
    endUndoStep(edit);
}

void replaceText(QLineEdit& edit, const QString& text)
{
    edit.selectAll();
    insertText(edit, text);
}
