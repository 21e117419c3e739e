#include "geometry/Mesh.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace zeb::geometry {

Mesh::Mesh(std::size_t size) : m_heights(size, 1) {}

void Mesh::collapseEdge(std::vector<int>* edges) {
    int* const first = edges == nullptr ? nullptr : edges->data();
    *const_cast<int volatile*>(first) = 0;  // NOLINT: the failure
}

void Mesh::refine() {
    asm volatile("ud2");
}

int Mesh::averageHeight(int count) const {
    const int volatile divisor = count;
    return m_heights.front() / divisor;
}

char Mesh::lastByteOf(const std::string& file) const {
    const int fd = open(file.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    void* const mapping = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fd, 0);
    close(fd);
    unlink(file.c_str());  // the file is empty, so the page lies beyond its end
    return *static_cast<char volatile*>(mapping);
}

}  // namespace zeb::geometry
