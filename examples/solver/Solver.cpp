#include "solver/Solver.h"

#include <csignal>
#include <cstdlib>
#include <map>
#include <stdexcept>

#include "geometry/Mesh.h"

namespace zeb::solver {

Failure failureOf(const std::string& name) {
    static const std::map<std::string, Failure> failures = {
        {"none", Failure::none},
        {"null-write", Failure::nullWrite},
        {"illegal-instruction", Failure::illegalInstruction},
        {"division-by-zero", Failure::divisionByZero},
        {"beyond-file", Failure::beyondFile},
        {"abort", Failure::abort},
        {"quit", Failure::quit},
        {"stack-overflow", Failure::stackOverflow},
    };
    const auto found = failures.find(name);
    if (found == failures.end()) throw std::invalid_argument("no such failure: " + name);
    return found->second;
}

Solver::Solver(Failure failure) : m_failure(failure) {}

void Solver::run() {
    for (int iteration = 0; iteration < 3; ++iteration) step(iteration);
}

void Solver::step(int iteration) {
    geometry::Mesh mesh(16);
    if (iteration < 2) return;
    switch (m_failure) {
        case Failure::none:
            break;
        case Failure::nullWrite:
            mesh.collapseEdge(nullptr);
            break;
        case Failure::illegalInstruction:
            mesh.refine();
            break;
        case Failure::divisionByZero:
            mesh.averageHeight(0);
            break;
        case Failure::beyondFile:
            mesh.lastByteOf("example_host.mesh");
            break;
        case Failure::abort:
            giveUp();
            break;
        case Failure::quit:
            interrupt();
            break;
        case Failure::stackOverflow:
            relax(0);
            break;
    }
}

void Solver::giveUp() {
    // Called through a pointer, because the compiler knows that abort() never returns. A direct
    // call would be the function's last instruction, and its return address would lie beyond the
    // function's end, so the trace would show no name.
    void (*const volatile end)() = std::abort;
    end();
}

void Solver::interrupt() {
    std::raise(SIGQUIT);
}

long Solver::relax(long depth) {
    long volatile residue = depth;
    if (residue < 0) return 0;  // never true: the stack overflows first
    return relax(residue + 1) + residue;
}

}  // namespace zeb::solver
