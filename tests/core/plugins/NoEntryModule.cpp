// A test module that opens fine but does not export the plug-in entry.
extern "C" __attribute__((visibility("default"))) int DocviewTestModuleWithoutEntry()
{
    return 1;
}
