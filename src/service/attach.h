// What happens when the library is loaded.
#ifndef ZOMU_SERVICE_ATTACH_H
#define ZOMU_SERVICE_ATTACH_H

// Finds the model folder and loads g_modelTables. The loader's notification calls it once per
// process, before any other call; a program that links the internals calls it itself.
void attachLibrary();

#endif
