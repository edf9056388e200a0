#pragma once

// The date that a release carries.

#include "platform/types.h"

// The process's local time of this moment, field by field; all zero if it can't be told.
date_s KELD_LocalDate();
