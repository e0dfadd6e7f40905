#ifndef MORBASE_API
#define MORBASE_API __attribute__((visibility("default")))
#endif
