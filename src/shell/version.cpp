#include "shell/version.h"

const char ver[] = "TOVAlink [V2.01.03 by 2018-06-24-gbc70b797]";
