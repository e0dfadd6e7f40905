#ifndef MORBASE_TIMECODE_H
#define MORBASE_TIMECODE_H

namespace morbase {

struct timecode {
    unsigned int hours = 0;
    unsigned int minutes = 0;
    unsigned int seconds = 0;
    unsigned int frames = 0;
    bool drop_frame = false;
};

}  // namespace morbase

#endif
