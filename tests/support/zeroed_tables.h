// The tables of the process, for tests that fill them or count on their zeros.
#ifndef ZOMU_TESTS_SUPPORT_ZEROED_TABLES_H
#define ZOMU_TESTS_SUPPORT_ZEROED_TABLES_H

#include <cstring>

#include "model/model_tables.h"

// All tables are zero, as in a process that has loaded no model, when one of these comes and when
// it goes.
struct ZeroedTables {
    ZeroedTables() { clear(); }
    ~ZeroedTables() { clear(); }
    ZeroedTables(const ZeroedTables&) = delete;
    ZeroedTables& operator=(const ZeroedTables&) = delete;

    static void clear() {
        std::memset(&g_modelTables, 0, sizeof g_modelTables);
    }
};

#endif
