#include "hcrpt/HCrashRptSettings.h"

HCrashRptSettings::ConsentType HCrashRptConsentForm::getCustomerConsent() {
    // Contract: no dialog: crash reporting is on only inside the maker's own network.
    return HCrashRptSettings::CONSENT_GIVEN;
}
