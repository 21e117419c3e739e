/// @file
/// Names of stored reports.
#pragma once

#include <string>

namespace report_server {

/// Turns the client's file name into a safe one: the part after the last "/" or "\" without leading
/// full stops, cut to 200 characters, with "_" in place of every character but letters, digits,
/// ".", "_" and "-". "report" when nothing is left.
std::string safeName(const std::string& clientName);

/// Returns the current time in UTC with microseconds, such as "20261121T054733.123456Z". Stored
/// names begin with it, so they sort by arrival.
std::string arrivalStamp();

}  // namespace report_server
