#include "workbench/store/sqlite.h"
