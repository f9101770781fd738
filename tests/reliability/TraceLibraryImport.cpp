// ZorvDbgImport.dll: the one import of the stand-in trace library's second build. A test
// puts it where the loader should, or should not, look for a trace library's imports.

extern "C" __declspec(dllexport) int ZorvDbgImportAnswer() {
    return 42;
}
