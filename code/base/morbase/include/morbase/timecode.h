// A position in a video, as its makers count: a time of day and the number of a frame
// within its second, from 0. How many frames a second has is the video's to say, and
// nothing here checks that a field lies in its range.

#ifndef MORBASE_TIMECODE_H
#define MORBASE_TIMECODE_H

namespace morbase {

// drop_frame: some numbers, though no frames, are left out of the count, so that a rate
// just below a whole number keeps up with the clock.
struct timecode {
    unsigned int hours = 0;
    unsigned int minutes = 0;
    unsigned int seconds = 0;
    unsigned int frames = 0;
    bool drop_frame = false;
};

}  // namespace morbase

#endif
