#include "platform/mv_obj.h"
