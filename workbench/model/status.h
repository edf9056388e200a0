#pragma once

// The numbers that the workbench itself gives as statuses. Their texts are in messages.cpp, their
// causes and remedies in docs/errors.md. Numbers that the platform has fixed keep their value.

namespace mervane {

enum Status : int {
    kNoPreference = 1700,
    kNoPreviousVersion = 9112,
    kRegistryDown = 100309,

    kNoSession = 710001,      // no session is open
    kNullArgument = 710002,   // a null pointer where a value or a place for it is needed
    kUnknownObject = 710003,  // no such object, or it can't be loaded
    kUnknownClass = 710004,
    kUnknownAttribute = 710005,  // or property
    kUnknownType = 710006,
    kWrongKind = 710007,         // attribute of another kind, or single instead of array
    kTooLong = 710008,           // text longer than its field
    kWrongClass = 710009,        // object of a class that the operation doesn't take
    kNotLocked = 710010,         // write without the modify lock
    kLockedByOther = 710011,     // modify lock held by another session
    kChangedMeanwhile = 710012,  // stored state changed since it was read
    kStillReferenced = 710013,   // deletion of what others refer to
    kReadOnly = 710014,          // property that can't be written
    kBadIndex = 710015,
    kBadValue = 710016,  // display text or number that doesn't fit
    kDuplicateId = 710017,
    kNoMoreArguments = 710018,  // read after the end of the argument stream
    kArgumentKind = 710019,     // argument of another kind than was sent
    kUnknownPrivilege = 710020,
    kNotAllowed = 710021,    // right missing
    kCheckedOut = 710022,    // checked out by another user
    kStoreFailure = 710023,  // the store can't be read or written
    kFileFailure = 710024,   // a file can't be read or written
    kNoMemory = 710025,
    kBadDate = 710026,
    kBadMark = 710027,    // protect mark that isn't set
    kBadImport = 710028,  // import refused
    kInternal = 710029,
    kInterrupted = 710030,  // the host was told to end
};

}  // namespace mervane
