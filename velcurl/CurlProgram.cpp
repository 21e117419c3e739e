#include "velcurl/CurlProgram.h"

#include <sys/stat.h>
#include <unistd.h>

namespace velcurl {

const std::vector<std::string>& systemPlaces() {
    static const std::vector<std::string> places = {"/usr/bin/curl", "/bin/curl",
                                                    "/usr/local/bin/curl"};
    return places;
}

std::optional<std::string> findCurl(const std::vector<std::string>& places) {
    for (const std::string& place : places) {
        struct stat status = {};
        if (stat(place.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
            access(place.c_str(), X_OK) == 0)
            return place;
    }
    return std::nullopt;
}

}  // namespace velcurl
