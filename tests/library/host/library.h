// The library as a host gets it: opened by path, functions looked up by name, on Windows by number.
#ifndef ZOMU_TESTS_LIBRARY_HOST_LIBRARY_H
#define ZOMU_TESTS_LIBRARY_HOST_LIBRARY_H

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <stdexcept>
#include <string>

#include "zomu.h"

class Library {
  public:
    explicit Library(const std::string& path) : handle(open(path)) {
        if (handle == nullptr) {
            throw std::runtime_error("cannot open " + path);
        }
        find(1, "ZomuCreate", create);
        find(2, "ZomuExtractTemplate", extract);
        find(3, "ZomuCompareTemplates", compare);
        find(4, "ZomuDestroy", destroy);
    }

    ~Library() { close(handle); }

    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    decltype(&ZomuCreate) create;
    decltype(&ZomuExtractTemplate) extract;
    decltype(&ZomuCompareTemplates) compare;
    decltype(&ZomuDestroy) destroy;

  private:
#if defined(_WIN32)
    using Handle = HMODULE;
    static Handle open(const std::string& path) {
        return LoadLibraryA(path.c_str());
    }
    static void close(Handle handle) {
        FreeLibrary(handle);
    }
    static void (*lookUp(Handle handle, int number, const char*))() {
        return reinterpret_cast<void (*)()>(GetProcAddress(handle, MAKEINTRESOURCEA(number)));
    }
#else
    using Handle = void*;
    static Handle open(const std::string& path) {
        return dlopen(path.c_str(), RTLD_NOW);
    }
    static void close(Handle handle) {
        dlclose(handle);
    }
    static void (*lookUp(Handle handle, int, const char* name))() {
        return reinterpret_cast<void (*)()>(dlsym(handle, name));
    }
#endif

    template <typename Function>
    void find(int number, const char* name, Function& function) {
        function = reinterpret_cast<Function>(lookUp(handle, number, name));
        if (function == nullptr) {
            throw std::runtime_error(std::string("no ") + name);
        }
    }

    Handle handle;
};

#endif
