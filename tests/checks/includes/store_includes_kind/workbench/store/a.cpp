#include "workbench/store/sqlite/sqlite.h"
