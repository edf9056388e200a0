#include "workbench/session/session.h"
