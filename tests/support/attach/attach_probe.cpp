// Loads the shared library as a host would and prints the text of a code.
//
//   attach_probe LIBRARY CODE twice   loads and unloads it two times
//   attach_probe LIBRARY CODE exit    asks once more after the library's own objects have ended
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "tmxtools/textres/message_resolver.h"

namespace {

using GetInstance = MessageResolverManager* (*)();

GetInstance get_instance;
unsigned short code;

void PrintText() { std::printf("%s\n", get_instance()->getMessage(code).c_str()); }

void* Load(const char* library) {
  void* const handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    std::printf("%s\n", dlerror());
    std::exit(1);
  }
  get_instance =
      reinterpret_cast<GetInstance>(dlsym(handle, "_ZN22MessageResolverManager11getInstanceEv"));
  return handle;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const char* const library = argv[1];
  code = static_cast<unsigned short>(std::atoi(argv[2]));
  if (argv[3] == std::string_view("exit")) {
    // Registered before the library's objects, and therefore run after them.
    std::atexit(PrintText);
    Load(library);
    PrintText();
    return 0;
  }
  for (int round = 0; round < 2; ++round) {
    void* const handle = Load(library);
    PrintText();
    dlclose(handle);
    const bool is_loaded = dlopen(library, RTLD_NOW | RTLD_NOLOAD) != nullptr;
    std::puts(is_loaded ? "still loaded" : "unloaded");
  }
  return 0;
}
