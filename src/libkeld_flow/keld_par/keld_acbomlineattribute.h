#pragma once

// Questions about one BOM line: its revision, the BOM view revision below it, and whether that view
// may be written.

#include "platform/types.h"

class ACBOMLineAttribute {
public:
    // Asks at once; what can't be asked stays NULLTAG or false.
    ACBOMLineAttribute(tag_t p_tagBOMLine);
    virtual ~ACBOMLineAttribute();

    // All members return 0 or the status of the first platform call that failed.
    int initMembers();
    // A tag-valued attribute of the line; NULLTAG if it has none or the call failed.
    int getBOMLineAttributeTag(const char* p_sName, tag_t* p_ptag);
    int getItemRevision(tag_t* p_ptag);
    // The view that is configured for the line, else the first view of its revision; NULLTAG if
    // there is none.
    int getBOMViewRevision(tag_t* p_ptag);

    tag_t m_tagBOMLine;
    tag_t m_tagBOMViewRevision;  // NULLTAG if there is none
    logical m_bCheckedOut;       // by anybody; false without a view
    logical m_bWriteAccess;      // privilege WRITE on the view; false without a view
};
