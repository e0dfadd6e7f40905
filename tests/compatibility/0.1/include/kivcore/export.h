#ifndef KIVCORE_API
#define KIVCORE_API __attribute__((visibility("default")))
#endif
