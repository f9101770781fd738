#include "Frwk_Utility.h"
