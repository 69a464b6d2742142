// A locale of the C library whose numbers have a comma, in force while an object of this class
// lives.
#ifndef ZOMU_TESTS_SUPPORT_GERMAN_LOCALE_H
#define ZOMU_TESTS_SUPPORT_GERMAN_LOCALE_H

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "support/environment.h"
#include "support/temporary_folder.h"

class GermanLocale {
  public:
    GermanLocale() : before(std::setlocale(LC_ALL, nullptr)) {
#if defined(_WIN32)
        const char* name = "German_Germany.1252";
#else
        // No locale needs to be installed: one is made here.
        const char* name = "de_DE.UTF-8";
        const std::string command = "localedef -i de_DE -f UTF-8 " + folder.prefix() + name;
        if (std::system(command.c_str()) != 0) {
            throw std::runtime_error("no localedef");
        }
        setVariable("LOCPATH", folder.path().string());
#endif
        if (std::setlocale(LC_ALL, name) == nullptr) {
            throw std::runtime_error("no German locale");
        }
    }

    ~GermanLocale() {
        std::setlocale(LC_ALL, before.c_str());
#if !defined(_WIN32)
        unsetenv("LOCPATH");
#endif
    }

    GermanLocale(const GermanLocale&) = delete;
    GermanLocale& operator=(const GermanLocale&) = delete;

    // How one half is printed now: "0,5" where the locale is in force.
    static std::string oneHalf() {
        char text[16];
        std::snprintf(text, sizeof text, "%.1f", 0.5);
        return text;
    }

  private:
    TemporaryFolder folder;
    std::string before;
};

#endif
