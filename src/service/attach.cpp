#include "service/attach.h"

#include "model/model_tables.h"
#include "platform/process.h"

void attachLibrary() {
    findModelDirectory();
    askForLargePages(&g_modelTables, sizeof g_modelTables);
    loadModelTables(g_modelTables);
}
