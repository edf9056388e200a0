// A platform's server process in small: it loads the library from where it is told, at run time,
// finds a service by its name and calls it with the arguments of a client. Unlike keld it sets no
// variable and touches no setting of the library.
//   server LIBRARY STORE SERVICE [i:NUMBER | s:TEXT | o:OBJECT | O:OBJECT]...
// The service's result must be a text (KELD_SrvCall...) or else a number.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/mv_heap.h"
#include "workbench/workbench.h"

namespace {

mervane::Argument argument(mervane::Workbench& workbench, const std::string& text) {
    const std::string value = text.substr(2);
    switch (text[0]) {
        case 'i':
            return std::atoi(value.c_str());
        case 'o':
            return workbench.resolve(value);
        case 'O':
            return std::vector<tag_t>{workbench.resolve(value)};
        default:
            return value;
    }
}

}  // namespace

int main(int count, char** words) {
    if (count < 4)
        return 2;
    mervane::Workbench& workbench = *mervane_workbench();
    workbench.openSession(workbench.openStore(words[2]), {});
    void* library = dlopen(words[1], RTLD_NOW);
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 2;
    }
    void* service = dlsym(library, words[3]);
    if (service == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 2;
    }
    std::vector<mervane::Argument> arguments;
    for (int i = 4; i < count; ++i)
        arguments.push_back(argument(workbench, words[i]));
    workbench.sendArguments(std::move(arguments));
    if (std::strncmp(words[3], "KELD_SrvCall", 12) == 0) {
        char* text = nullptr;
        const int status = reinterpret_cast<int (*)(char**)>(service)(&text);
        std::printf("%s\n", text == nullptr ? "" : text);
        HEAP_free(text);
        return status == 0 ? 0 : 1;
    }
    int number = 0;
    const int status = reinterpret_cast<int (*)(int*)>(service)(&number);
    std::printf("%d\n", number);
    return status == 0 && number == 0 ? 0 : 1;
}
