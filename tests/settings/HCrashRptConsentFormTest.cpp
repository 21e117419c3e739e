#include <gtest/gtest.h>

#include "hcrpt/HCrashRptSettings.h"

TEST(HCrashRptConsentFormTest, ConsentIsAlwaysGiven) {
    EXPECT_EQ(HCrashRptConsentForm::getCustomerConsent(), HCrashRptSettings::CONSENT_GIVEN);
    EXPECT_EQ(static_cast<int>(HCrashRptConsentForm::getCustomerConsent()), 1);
}
