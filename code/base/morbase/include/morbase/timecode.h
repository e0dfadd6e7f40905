// A position in a video: a time of day, and the number of a frame within that second, from 0. The
// number of frames per second depends on the video. The ranges of the fields are not checked.

#ifndef MORBASE_TIMECODE_H
#define MORBASE_TIMECODE_H

namespace morbase {

struct timecode {
    // The position, to the second and to the frame.
    unsigned int hours = 0;
    unsigned int minutes = 0;
    unsigned int seconds = 0;
    unsigned int frames = 0;

    // Whether the count skips some frame numbers, but no frames, so that a rate just below a whole
    // number stays in step with the clock.
    bool drop_frame = false;
};

}  // namespace morbase

#endif
