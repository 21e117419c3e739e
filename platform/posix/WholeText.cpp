#include "WholeText.h"

#include <fcntl.h>

#include "base/FileDescriptor.h"
#include "base/ReadAll.h"

std::string wholeText(const char* path) {
    const hcrpt::FileDescriptor file(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY));
    return file.isOpen() ? hcrpt::readToEnd(file.get()) : std::string();
}
