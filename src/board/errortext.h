#pragma once

#include "board/branlib.h"

class QString;

/// The board library's text for a result code, cut off where it is longer than a box can show.
QString boardErrorText(BRAN_ERR_T code);
