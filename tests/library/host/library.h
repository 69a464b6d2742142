// The two libraries as a host gets them: opened by path, functions looked up by name. On Windows those
// of the first have numbers instead.
#ifndef ZOMU_TESTS_LIBRARY_HOST_LIBRARY_H
#define ZOMU_TESTS_LIBRARY_HOST_LIBRARY_H

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <stdexcept>
#include <string>

#include "zomu_batch.h"

class OpenedFile {
  public:
    explicit OpenedFile(const std::string& path) : handle(open(path)) {
        if (handle == nullptr) {
            throw std::runtime_error("cannot open " + path);
        }
    }

    ~OpenedFile() { close(handle); }

    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;

  protected:
    // By its name where the number is 0.
    template <typename Function>
    void find(int number, const char* name, Function& function) {
        function = reinterpret_cast<Function>(lookUp(handle, number, name));
        if (function == nullptr) {
            throw std::runtime_error(std::string("no ") + name);
        }
    }

  private:
#if defined(_WIN32)
    using Handle = HMODULE;
    static Handle open(const std::string& path) {
        return LoadLibraryA(path.c_str());
    }
    static void close(Handle handle) {
        FreeLibrary(handle);
    }
    static void (*lookUp(Handle handle, int number, const char* name))() {
        return reinterpret_cast<void (*)()>(
            GetProcAddress(handle, number == 0 ? name : MAKEINTRESOURCEA(number)));
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

    Handle handle;
};

class Library : public OpenedFile {
  public:
    explicit Library(const std::string& path) : OpenedFile(path) {
        find(1, "ZomuCreate", create);
        find(2, "ZomuExtractTemplate", extract);
        find(3, "ZomuCompareTemplates", compare);
        find(4, "ZomuDestroy", destroy);
    }

    decltype(&ZomuCreate) create;
    decltype(&ZomuExtractTemplate) extract;
    decltype(&ZomuCompareTemplates) compare;
    decltype(&ZomuDestroy) destroy;
};

class BatchLibrary : public OpenedFile {
  public:
    explicit BatchLibrary(const std::string& path) : OpenedFile(path) {
        find(0, "ZomuBatchCreate", create);
        find(0, "ZomuBatchExtract", extract);
        find(0, "ZomuBatchDestroy", destroy);
    }

    decltype(&ZomuBatchCreate) create;
    decltype(&ZomuBatchExtract) extract;
    decltype(&ZomuBatchDestroy) destroy;
};

#endif
