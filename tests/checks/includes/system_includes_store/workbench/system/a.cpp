#include "workbench/store/store.h"
