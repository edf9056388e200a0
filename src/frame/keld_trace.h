#pragma once

// Call tracing: every platform call, support-library call and larger internal call runs through one
// of these macros, which leave its lines in the log.
//
//   KELD_CALL(status, expression)   logs, stores the result in the caller's int variable, goes on
//   KELD_QSK_CALL(expression)       logs, and returns a status other than 0 from the function
//   KELD_FUNC_ENTER(name)           scope line at the top of a function
//   KELD_FUNC_LEAVE(name)           scope line at its end
//
// The log shows the expression exactly as it is written at the site: # is applied to the macro's
// own parameter, so NULL and FALSE aren't expanded. The file is KELD_TRACE_FILE, which the build
// gives to each source, never __FILE__. The macros don't look at the log level; the log does. A
// site keeps one clock reading and one status on its stack, nothing else: functions that call
// themselves use the macros too.
//
// KELD_QSK_CALL frees nothing on its way out and undoes only its own indentation: in a function
// with scope lines, neither the leave line nor its step back comes then.

#include <cstdint>

#include "platform/keld_basetool.h"
#include "platform/types.h"

// The halves of a traced call, before and after the evaluation. Enter gives the clock's reading, in
// milliseconds since the start of the process.
std::uint32_t KELD_TraceCallEnter(const char* szText, const char* szFile, int iLine);
void KELD_TraceCallLeave(std::uint32_t ulStart, int iStatus, const char* szText, const char* szFile,
                         int iLine);
std::uint32_t KELD_TraceQskCallEnter(const char* szText, const char* szFile, int iLine);
void KELD_TraceQskCallLeave(std::uint32_t ulStart, int iStatus, const char* szText,
                            const char* szFile, int iLine);
// Give the number of steps of indentation that traced calls and scope lines have taken and not
// taken back; take back those above a number.
int KELD_TraceSteps();
void KELD_TraceBackTo(int iSteps);
void KELD_TraceFuncEnter(const char* szName, const char* szFile, int iLine);
void KELD_TraceFuncLeave(const char* szName, const char* szFile, int iLine);

// The expression is the variadic part, so that commas in template arguments do no harm.
#define KELD_CALL(status, ...)                                                                  \
    do {                                                                                        \
        int& keld_call_status_ = (status);                                                      \
        const std::uint32_t keld_call_start_ =                                                  \
            KELD_TraceCallEnter(#__VA_ARGS__, KELD_TRACE_FILE, __LINE__);                       \
        keld_call_status_ = __VA_ARGS__;                                                        \
        KELD_TraceCallLeave(keld_call_start_, keld_call_status_, #__VA_ARGS__, KELD_TRACE_FILE, \
                            __LINE__);                                                          \
    } while (0)

#define KELD_QSK_CALL(...)                                                                         \
    do {                                                                                           \
        const std::uint32_t keld_call_start_ =                                                     \
            KELD_TraceQskCallEnter(#__VA_ARGS__, KELD_TRACE_FILE, __LINE__);                       \
        const int keld_call_status_ = __VA_ARGS__;                                                 \
        KELD_TraceQskCallLeave(keld_call_start_, keld_call_status_, #__VA_ARGS__, KELD_TRACE_FILE, \
                               __LINE__);                                                          \
        if (keld_call_status_ != QSK_ok)                                                           \
            return keld_call_status_;                                                              \
    } while (0)

#define KELD_FUNC_ENTER(name) KELD_TraceFuncEnter((name), KELD_TRACE_FILE, __LINE__)
#define KELD_FUNC_LEAVE(name) KELD_TraceFuncLeave((name), KELD_TRACE_FILE, __LINE__)
