#pragma once

// The interface does not mark its functions. Included from here they are the ones that leave the
// library; everything else is hidden.
#pragma GCC visibility push(default)
#include "board/branlib.h"
#pragma GCC visibility pop
