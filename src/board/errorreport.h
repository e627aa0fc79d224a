#pragma once

#include "board/branlib.h"

class QString;
class QWidget;

/// The board library's text for a result code, cut off where it is longer than a box can show.
QString boardErrorText(BRAN_ERR_T code);

/// Shows the failure of a board operation in a modal warning box.
void reportBoardError(QWidget* parent, BRAN_ERR_T code);

/// Shows the failure of a board operation on a file in a modal warning box that names the file.
void reportBoardError(QWidget* parent, const QString& file, BRAN_ERR_T code);
