// Assignment operators of the support classes: sibling libraries import them from here.

#include <cstring>

#include "platform/keld_basetool.h"

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): memmove takes an object itself.
CKELD_ParamLine& CKELD_ParamLine::operator=(const CKELD_ParamLine& other) {
    std::memmove(static_cast<void*>(this), static_cast<const void*>(&other), sizeof(*this));
    return *this;
}

// There is no data to copy.
CKELD_String& CKELD_String::operator=(const CKELD_String&) {
    return *this;
}

CKELD_Datum& CKELD_Datum::operator=(const CKELD_Datum& other) {
    std::memmove(static_cast<void*>(this), static_cast<const void*>(&other), sizeof(*this));
    return *this;
}
