#include "workbench/workbench.h"
