#pragma once

// Sequence numbers are texts; only whether a line has one, and where counting goes on, asks for
// their value.

#include <cstddef>

inline constexpr std::size_t uiSeqNoBuffer = 100;  // for a number made here

// The leading decimal integer of a text, with blanks and a sign in front of it; 0 if there is none.
// A huge number is the nearest one that fits. 0 means that a line has no number.
int KELD_SeqNoValue(const char* szText);
