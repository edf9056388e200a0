#include "platform/keld_version.h"
#include "platform/keld_basetool.h"
#include "platform/keld_se.h"

static bool bVersionPrinted = false;

// Kept: these services only; KELD_StatusManager and KELD_createJobItem have no line.
void KELD_Version(void) {
    if (bVersionPrinted)
        return;
    KELD_PRINT_VERINFO("KELD Server Exits                  (V" KELD_VERSION ")  %s %s\n", __DATE__,
                       __TIME__);
    KELD_PRINT_VERINFO("   KELD_SrvCallCRIFromPortal       (V" KELD_VERSION ")\n");
    KELD_PRINT_VERINFO("   KELD_SrvCallCRJFromPortal       (V" KELD_VERSION ")\n");
    KELD_PRINT_VERINFO("   KELD_CopyAttr                   (V" KELD_VERSION ")\n");
    KELD_PRINT_VERINFO("   KELD_DeleteDeluxe               (V" KELD_VERSION ")\n");
    KELD_PRINT_VERINFO("   KELD_PSE_PackAndResequenceBom   (V" KELD_VERSION ")\n");
    KELD_PRINT_VERINFO("   KELD_SrvCallGetEnv              (V" KELD_VERSION ")\n");
    KELD_PRINT_VERINFO("   KELD_SrvCall                    (V" KELD_VERSION ")\n");
    KELD_PRINT_VERINFO("   KELD_BatchReName                (V" KELD_VERSION ")\n");
    KELD_PRINT_VERINFO("   KELD_ReNameItem                 (V" KELD_VERSION ")\n");
    KELD_PRINT_VERINFO("   KELD_ReNameItemExtended         (V" KELD_VERSION ")\n");
    KELD_PRINT_VERINFO("\n");
    bVersionPrinted = true;
}
