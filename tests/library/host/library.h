// The library as a host gets it: opened by path, functions looked up by name.
#ifndef ZOMU_TESTS_LIBRARY_HOST_LIBRARY_H
#define ZOMU_TESTS_LIBRARY_HOST_LIBRARY_H

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "zomu.h"

class Library {
  public:
    explicit Library(const std::string& path) : handle(dlopen(path.c_str(), RTLD_NOW)) {
        if (handle == nullptr) {
            throw std::runtime_error(dlerror());
        }
        find("ZomuCreate", create);
        find("ZomuExtractTemplate", extract);
        find("ZomuCompareTemplates", compare);
        find("ZomuDestroy", destroy);
    }

    ~Library() { dlclose(handle); }

    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    decltype(&ZomuCreate) create;
    decltype(&ZomuExtractTemplate) extract;
    decltype(&ZomuCompareTemplates) compare;
    decltype(&ZomuDestroy) destroy;

  private:
    template <typename Function>
    void find(const char* name, Function& function) {
        function = reinterpret_cast<Function>(dlsym(handle, name));
        if (function == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }

    void* handle;
};

#endif
