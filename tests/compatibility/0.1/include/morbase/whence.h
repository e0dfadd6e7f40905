#ifndef MORBASE_WHENCE_H
#define MORBASE_WHENCE_H

namespace morbase {

enum whence : int { from_start = 0, from_current = 1, from_end = 2 };

}

#endif
