#include "rename/keld_rn.h"
