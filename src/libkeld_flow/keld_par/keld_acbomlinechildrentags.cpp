#include "libkeld_flow/keld_par/keld_acbomlinechildrentags.h"

#include "frame/keld_trace.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"

ACBOMLineChildrenTags::ACBOMLineChildrenTags(tag_t p_tagBOMLine)
    : m_iCountChildren(0), m_ptagChildren(nullptr), m_tagBOMLine(p_tagBOMLine) {
    constexpr char szName[] =
        "ACBOMLineChildrenTags::ACBOMLineChildrenTags(tag_t p_tagBOMLine) : "
        "m_tagBOMLine(p_tagBOMLine)\n";
    int iRet = QSK_ok;
    KELD_TRACE("%s", szName);
    KELD_CALL(iRet, LINE_ask_child_lines(m_tagBOMLine, &m_iCountChildren, &m_ptagChildren));
    KELD_TRACE("%s", szName);
}

ACBOMLineChildrenTags::~ACBOMLineChildrenTags() {
    constexpr char szName[] = "ACBOMLineChildrenTags::~ACBOMLineChildrenTags()\n";
    KELD_TRACE("%s", szName);
    if (m_ptagChildren != nullptr)
        HEAP_free(m_ptagChildren);
    KELD_TRACE("%s", szName);
}
