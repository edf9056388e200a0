// Assignment operators of the support classes: sibling libraries import them from here.

#include <cstring>

#include "platform/keld_basetool.h"

CKELD_ParamLine& CKELD_ParamLine::operator=(const CKELD_ParamLine& other) {
    std::memmove(static_cast<void*>(this), &other, sizeof(*this));
    return *this;
}

// There is no data to copy.
CKELD_String& CKELD_String::operator=(const CKELD_String&) {
    return *this;
}

CKELD_Datum& CKELD_Datum::operator=(const CKELD_Datum& other) {
    std::memmove(static_cast<void*>(this), &other, sizeof(*this));
    return *this;
}
