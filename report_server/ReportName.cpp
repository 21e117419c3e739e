#include "report_server/ReportName.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace report_server {
namespace {

constexpr std::size_t kMaxName = 200;  // a file name has 255 bytes; the stamp needs the rest
const std::string kSafeCharacters =
    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ._-";

}  // namespace

std::string safeName(const std::string& clientName) {
    const std::size_t separator = clientName.find_last_of("/\\");
    std::string name =
        separator == std::string::npos ? clientName : clientName.substr(separator + 1);
    name.erase(0, name.find_first_not_of('.'));
    if (name.empty()) return "report";
    if (name.size() > kMaxName) name.resize(kMaxName);
    for (char& c : name)
        if (kSafeCharacters.find(c) == std::string::npos) c = '_';
    return name;
}

std::string arrivalStamp() {
    using std::chrono::microseconds;
    using std::chrono::seconds;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto whole = std::chrono::duration_cast<seconds>(now);
    const auto fraction = std::chrono::duration_cast<microseconds>(now - whole);
    const std::time_t time = static_cast<std::time_t>(whole.count());
    std::tm utc = {};
    gmtime_r(&time, &utc);
    char day[32] = "";
    std::strftime(day, sizeof day, "%Y%m%dT%H%M%S", &utc);
    char stamp[64] = "";
    std::snprintf(stamp, sizeof stamp, "%s.%06ldZ", day, static_cast<long>(fraction.count()));
    return stamp;
}

}  // namespace report_server
