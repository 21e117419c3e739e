// A host's library whose functions end in a call that never returns, so that its return address
// lies behind the function. Built without and with optimisation.
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

// In each group the function after the failing one is there to be taken for it.
extern "C" {

void abortAtEnd() {
    std::abort();
}
void neighbourOfAbort() {
    asm volatile("");
}

void assertAtEnd() {
    assert(false);
}
void neighbourOfAssert() {
    asm volatile("");
}

void throwAtEnd() {
    throw std::runtime_error("nobody catches this");
}
void neighbourOfThrow() {
    asm volatile("");
}
}

namespace {

// Without a name in the library's table of symbols, and with a neighbour that has one.
[[gnu::noinline]] void throwNamelessly() {
    throw std::runtime_error("nobody catches this");
}

}  // namespace

extern "C" {

void throwBelowNoexcept() noexcept {
    throwNamelessly();
}
void neighbourOfNoexcept() {
    asm volatile("");
}

void smashStack() {
    // The guard lies between the array and the return address. How much is written is kept from
    // the compiler.
    std::size_t volatile length = 64;
    char array[8];
    std::memset(array, 'x', length);
    asm volatile("" : : "r"(array) : "memory");
}
void neighbourOfSmash() {
    asm volatile("");
}
}

// Others could derive from it, for all that the compiler knows.
class Base {
  public:
    Base() {
        asm volatile("" : : "r"(this) : "memory");
        useTooEarly(this);
    }
    virtual ~Base() = default;
    virtual void work() = 0;

  private:
    [[gnu::noinline]] static void useTooEarly(Base* volatile object) {
        object->work();
        asm volatile("");  // keeps the call from becoming a jump
    }
};

class Derived : public Base {
  public:
    void work() override {}
};

extern "C" {

void callPureVirtual() {
    const Derived object;
    asm volatile("" : : "r"(&object) : "memory");
}

void freeTwice() {
    void* volatile block = std::malloc(40);
    std::free(block);
    std::free(block);
    asm volatile("");  // keeps the call from becoming a jump
}
void neighbourOfFree() {
    asm volatile("");
}

void callBack(void (*function)()) {
    function();
    asm volatile("");  // keeps the call from becoming a jump
}
}
