#pragma once

#include <QClipboard>
#include <QLineEdit>

class QMimeData;

/// A line edit that hears of everything that arrives otherwise than by typing: what is pasted, by
/// whichever key, button or menu, and text that is dropped on it. Dropped files go on to its
/// parent.
class ArrivalEdit : public QLineEdit
{
public:
    using QLineEdit::QLineEdit;

protected:
    /// Shows `tip` at the field at once, where the user looks now.
    void tell(const QString& tip);

    void keyPressEvent(QKeyEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    /// Takes over what `content` means here: what is dropped in place of all that was there, what
    /// is pasted at the cursor or over what is selected, where that makes sense.
    virtual void receive(const QMimeData& content, bool isDropped) = 0;

    void pasteFrom(QClipboard::Mode clipboard);
    void pasteFromMenu();
};

/// Inserts `text` at the cursor or over what is selected, as a step of its own for undo.
void insertText(QLineEdit& edit, const QString& text);

/// Makes `text` all of the text of `edit`; the user can undo that.
void replaceText(QLineEdit& edit, const QString& text);

/// Answers a drag or a drop. Its source may lose nothing: what can only be moved is refused too.
void acceptCopy(QDropEvent& drag, bool isTaken);
