/// @file
/// The other in-house library of the example host.
#pragma once

#include <string>

namespace zeb::solver {

/// The ways in which a run can end early.
enum class Failure {
    none,
    nullWrite,
    illegalInstruction,
    divisionByZero,
    beyondFile,
    abort,
    quit,
    stackOverflow,
};

/// The failure of that name: null-write, illegal-instruction, division-by-zero, beyond-file, abort,
/// quit, stack-overflow, none. Throws std::invalid_argument for any other.
Failure failureOf(const std::string& name);

/// A run over a mesh, some calls deep.
class Solver {
  public:
    explicit Solver(Failure failure);
    void run();

  private:
    void step(int iteration);
    void giveUp();           ///< abort()
    void interrupt();        ///< raises SIGQUIT
    long relax(long depth);  ///< calls itself without end

    Failure m_failure;
};

}  // namespace zeb::solver
