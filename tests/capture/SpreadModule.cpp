// A module whose code lies elsewhere in memory than in its file; see CMakeLists.txt.
namespace {

[[gnu::noinline, gnu::used]] int unexported(int number) {
    return number + 1;
}

}  // namespace

extern "C" int (*unexportedOfSpreadModule())(int) {
    return &unexported;
}
