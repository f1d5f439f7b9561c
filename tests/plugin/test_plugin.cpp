// A small plug-in that the dynamic-library tests load by its bare name from
// the directory of the test program.
#if defined(_WIN32)
#define PLUGIN_EXPORT __declspec(dllexport)
#else
#define PLUGIN_EXPORT __attribute__((visibility("default")))
#endif

extern "C" PLUGIN_EXPORT int orvTestPluginAnswer(void) { return 42; }
