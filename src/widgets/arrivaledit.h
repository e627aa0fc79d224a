#pragma once

#include <QClipboard>
#include <QLineEdit>

class QMimeData;

/// A line edit that handles input other than typing: text that is pasted by key, mouse or menu, and
/// text that is dropped. Files that are dropped on the edit go to its parent.
class ArrivalEdit : public QLineEdit
{
public:
    using QLineEdit::QLineEdit;

protected:
    /// Shows `tip` at the field at once.
    void tell(const QString& tip);

    void keyPressEvent(QKeyEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    /// Puts what `content` means into the field. Dropped content replaces all of the text. Pasted
    /// content goes to the cursor or over the selection, where that makes sense.
    virtual void receive(const QMimeData& content, bool isDropped) = 0;

    void pasteFrom(QClipboard::Mode clipboard);
    void pasteFromMenu();
};

/// Inserts `text` at the cursor or over the selection, as one step for undo.
void insertText(QLineEdit& edit, const QString& text);

/// Replaces all of the text of `edit`; the user can undo that.
void replaceText(QLineEdit& edit, const QString& text);

/// Accepts a drag or a drop as a copy if `isTaken`. A source that offers only a move is refused,
/// because the move would delete its data.
void acceptCopy(QDropEvent& drag, bool isTaken);
