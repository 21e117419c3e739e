/// @file
/// The second in-house library of the example host.
#pragma once

#include <string>

namespace zeb::solver {

/// How a run can fail.
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

/// Returns the failure with that name: null-write, illegal-instruction, division-by-zero,
/// beyond-file, abort, quit, stack-overflow, none. @throws std::invalid_argument for any other name
Failure failureOf(const std::string& name);

/// Runs over a mesh, a few calls deep.
class Solver {
  public:
    explicit Solver(Failure failure);
    void run();

  private:
    void step(int iteration);
    void giveUp();           ///< abort()
    void interrupt();        ///< raises SIGQUIT
    long relax(long depth);  ///< calls itself endlessly

    Failure m_failure;
};

}  // namespace zeb::solver
