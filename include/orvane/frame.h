/* Orvane services: the process frame. Process initialisation and
 * termination, application items, the services location, exit handlers,
 * assertions, memory hooks, clocks, timers and hashing, settings and dynamic
 * libraries. */
#ifndef ORVANE_FRAME_H
#define ORVANE_FRAME_H

#include "orvane/types.h"

ORV_EXTERN_C_BEGIN

/* Item codes of servicesProcessInitialize and servicesQueryApp. */
#define ORV_ITEM_END 0
#define ORV_ITEM_APPLICATION_NAME 1
#define ORV_ITEM_RELEASE_TAG 2
#define ORV_ITEM_MAJOR_VERSION 3
#define ORV_ITEM_MINOR_VERSION 4
#define ORV_ITEM_CONFIGURATION_KEY 5

/* Number of exit-handler slots (numbered 0 to 13). */
#define ORV_EXIT_SLOTS 14

typedef void (*orvExitHandler)(uintptr_t argument);

ORV_API int servicesProcessInitialize(int firstCode, ...);
ORV_API intptr_t servicesQueryApp(int item);
ORV_API int servicesProcessTerminate(int keepLayers);
ORV_API int orvGetServicesLocation(const char *suffix, char *dir, short dirSize);
ORV_API uint32_t orvGetProductCode(void);

ORV_API int orvInitExit(void);
ORV_API int orvRegisterExit(int slot, orvExitHandler handler, uintptr_t argument);
ORV_API void orvExit(void);
ORV_API int orvAssert(const char *sourceName, int line);

ORV_API void *orvMemoryAllocFunc(size_t size);
ORV_API void orvMemoryFreeFunc(void *block);

/* Clocks, timers and hashing. */
typedef struct orvClock {
  int32_t second;
  int32_t minute;
  int32_t hour;
  int32_t day;
  int32_t month; /* 0 to 11 */
  int32_t year;  /* full year, such as 1999 */
} orvClock;

typedef struct orvTimer {
  double startWall;
  double stopWall;
  double startCpu;
  double stopCpu;
  uint32_t running;
} orvTimer;

ORV_API orvClock *orvClockCreate(void);
ORV_API int orvClockDestroy(orvClock *clock);
ORV_API int orvClockReset(orvClock *clock);
ORV_API int32_t orvClockGetMonth(const orvClock *clock);
ORV_API int32_t orvClockGetYear(const orvClock *clock);

/* A timer is a plain heap block: release it with orvMemoryFreeFunc. */
ORV_API orvTimer *orvTimerCreate(void);
ORV_API int orvTimerStart(orvTimer *timer);
ORV_API int orvTimerStop(orvTimer *timer);
ORV_API double orvTimerGetElapsed(orvTimer *timer);
ORV_API double orvTimerGetProcess(orvTimer *timer);

ORV_API void orvSleep(double seconds);
ORV_API uint32_t orvHash(const char *text);
ORV_API uint32_t orvHashI(const char *text);

/* Settings and dynamic libraries. A setting is looked up in the per-user
 * registry under the application's configuration key, then in "ORVANE.INI"
 * (the configuration key's section, "Services" followed by the product
 * letter, "Services"), then in the environment. */
ORV_API char *orvResourceGetNLSStr(const char *name);
ORV_API uint32_t orvResourceGetUInt32(const char *name);

ORV_API void *orvDLOpen(const char *name);
ORV_API int orvDLClose(void *module);
ORV_API void *orvDLSymbol(void *module, const char *symbol);

ORV_EXTERN_C_END

#endif
