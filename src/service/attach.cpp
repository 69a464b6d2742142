#include "service/attach.h"

#include "model/model_tables.h"
#include "platform/host_output.h"
#include "platform/process.h"

void attachLibrary() {
    findStandardOutput();
    findModelDirectory();
    askForLargePages(&g_modelTables, sizeof g_modelTables);
    loadModelTables(g_modelTables);
}
