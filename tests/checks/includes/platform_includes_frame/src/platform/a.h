#include "frame/keld_trace.h"
