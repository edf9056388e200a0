#pragma once

// The platform calls of a run, recorded and played again in a bare loop. The source defines the
// platform functions that a run of the status manager makes; on Linux a host's own definition wins,
// so the library calls these, which record the call if told to and go on to the workbench. A
// program that records needs its symbols exported.

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/types.h"
#include "workbench/workbench.h"

namespace call_recorder {

// Forget what was recorded and record from here on, until stop().
void start();
void stop();
std::size_t count();

// For the sources that define further functions: whether calls are recorded, and record one.
bool isRecording();
void add(std::function<int()> play);

// Make the recorded calls. The process numbers BOM lines on, so the handles in the world that is
// played on are line_shift after the recorded ones.
void play(tag_t line_shift);

std::size_t settingCount();
// Read the recorded settings by themselves.
void readSettings();

// How often each operation occurs in a journal. Frees of memory are left out, since a run and its
// recording differ in them.
std::map<std::string, int> countsOf(const std::vector<mervane::JournalEntry>& journal);

}  // namespace call_recorder
