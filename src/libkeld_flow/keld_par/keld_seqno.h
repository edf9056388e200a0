#pragma once

// Sequence numbers are texts and compared as such: "10" and "010" are two numbers. Their value says
// only whether a line has a number, and where counting goes on.

#include <cstddef>

inline constexpr std::size_t uiSeqNoBuffer = 100;  // for a number made here

// The leading decimal integer of a text, with blanks and a sign in front of it; 0 if there is none.
// A huge number is the nearest one that fits. 0 means that a line has no number.
int KELD_SeqNoValue(const char* szText);
