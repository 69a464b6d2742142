#include "service/attach.h"

#include "model/model_tables.h"

void attachLibrary() {
    findModelDirectory();
    loadModelTables(g_modelTables);
}
