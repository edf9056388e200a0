#pragma once

// The status manager's settings of the status runs: two steps over a tree of revisions with
// datasets.

inline constexpr char kStatusSettings[] =
    "[SelectWSO]\nBOMLine=1\n"
    "[Frozen_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
    "[Frozen_ItemRevision]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
    "DoNothingOnReleaseStatus=Frozen\nChangeForward=Rel.VANE_specification.*\n"
    "[Frozen_VANE_specification.*]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
    "DoNothingOnReleaseStatus=Frozen\n"
    "[Released_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
    "[Released_ItemRevision]\nPrevReleaseStatus=Frozen\nSetReleaseState=Released\n"
    "DoNothingOnReleaseStatus=Released\nChangeForward=Rel.VANE_specification.*\n"
    "[Released_VANE_specification.*]\nPrevReleaseStatus=Frozen\nSetReleaseState=Released\n"
    "DoNothingOnReleaseStatus=Released\n";
