/// @file
/// An in-house library of the example host with functions that fail.
#pragma once

#include <string>
#include <vector>

namespace zeb::geometry {

/// A list of heights. Each member function fails in its own way.
class Mesh {
  public:
    explicit Mesh(std::size_t size);

    void collapseEdge(std::vector<int>* edges);      ///< writes through a null pointer: SIGSEGV
    void refine();                                   ///< executes an illegal instruction: SIGILL
    int averageHeight(int count) const;              ///< divides by zero: SIGFPE
    char lastByteOf(const std::string& file) const;  ///< reads a mapping beyond its file: SIGBUS

  private:
    std::vector<int> m_heights;
};

}  // namespace zeb::geometry
