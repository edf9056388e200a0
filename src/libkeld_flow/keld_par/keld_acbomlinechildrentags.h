#pragma once

// The child lines of a BOM line, as the platform gives them.

#include "platform/types.h"

class ACBOMLineChildrenTags {
public:
    // Asks for the children; none if that fails.
    ACBOMLineChildrenTags(tag_t p_tagBOMLine);
    ACBOMLineChildrenTags(const ACBOMLineChildrenTags&) = delete;
    ACBOMLineChildrenTags& operator=(const ACBOMLineChildrenTags&) = delete;
    virtual ~ACBOMLineChildrenTags();

    int m_iCountChildren;
    tag_t* m_ptagChildren;  // freed with the object
    tag_t m_tagBOMLine;
};
