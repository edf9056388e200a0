#pragma once

// The delete log of a user. Server processes of one user append to it at the same time; whole lines
// reach the file in one piece.

#include <cstdio>
#include <string>

// Path of a user's log in the backup directory.
std::string KELD_DeleteLogPath(const char* szCentralBackupDir, const char* szUserId);

// Open a log for appending, without following a link. Only one is open at a time.
// Returns: the file; null with an error line if it can't be opened.
FILE* KELD_OpenDeleteLog(const std::string& sPath);

// Write the waiting lines and close the log; null is allowed. A log that can't be written leaves an
// error line.
void KELD_CloseDeleteLog(FILE* pDeleteLogFile);
