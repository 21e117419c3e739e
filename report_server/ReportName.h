/// @file
/// Names of stored reports.
#pragma once

#include <string>

namespace report_server {

/// A harmless name that lets the client's be recognised: the part after the last "/" or "\",
/// without leading full stops, every character but letters, digits, ".", "_" and "-" replaced by
/// "_", at most 200 characters. "report" when nothing is left.
std::string safeName(const std::string& clientName);

/// Time of arrival for the front of a stored name, in UTC to the microsecond, so that names sort by
/// arrival: "20261121T054733.123456Z".
std::string arrivalStamp();

}  // namespace report_server
