#include "hcrpt/HCrashRptSettings.h"

HCrashRptSettings::ConsentType HCrashRptConsentForm::getCustomerConsent() {
    // On purpose: there is no dialog. Reports are made inside the maker's own network only.
    return HCrashRptSettings::CONSENT_GIVEN;
}
