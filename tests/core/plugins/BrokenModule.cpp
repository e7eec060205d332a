// A test module that cannot be opened with RTLD_NOW: it calls a function that no library
// defines, so the dynamic linker stops at the undefined symbol.
extern "C" int DocviewTestFunctionNobodyDefines(const char* name);

extern "C" __attribute__((visibility("default"))) void* CreatePluginInstanceEx(const char* name)
{
    static int s_nAnswer = 0;
    s_nAnswer = DocviewTestFunctionNobodyDefines(name);
    return &s_nAnswer;
}
