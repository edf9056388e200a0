#include "platform/keld_basetool.h"
#include "platform/keld_se.h"

static bool bVersionPrinted = false;

void KELD_Version(void) {
    if (bVersionPrinted)
        return;
    KELD_PRINT_VERINFO("KELD Server Exits                  (V10.1.1.0)  %s %s\n", __DATE__,
                       __TIME__);
    KELD_PRINT_VERINFO("   KELD_SrvCallCRIFromPortal       (V10.1.1.0)\n");
    KELD_PRINT_VERINFO("   KELD_SrvCallCRJFromPortal       (V10.1.1.0)\n");
    KELD_PRINT_VERINFO("   KELD_CopyAttr                   (V10.1.1.0)\n");
    KELD_PRINT_VERINFO("   KELD_DeleteDeluxe               (V10.1.1.0)\n");
    KELD_PRINT_VERINFO("   KELD_PSE_PackAndResequenceBom   (V10.1.1.0)\n");
    KELD_PRINT_VERINFO("   KELD_SrvCallGetEnv              (V10.1.1.0)\n");
    KELD_PRINT_VERINFO("   KELD_SrvCall                    (V10.1.1.0)\n");
    KELD_PRINT_VERINFO("   KELD_BatchReName                (V10.1.1.0)\n");
    KELD_PRINT_VERINFO("   KELD_ReNameItem                 (V10.1.1.0)\n");
    KELD_PRINT_VERINFO("   KELD_ReNameItemExtended         (V10.1.1.0)\n");
    KELD_PRINT_VERINFO("\n");
    bVersionPrinted = true;
}
