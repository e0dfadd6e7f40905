// A plug-in object that watches something and tells a handler what changes. What it
// has to tell is told inside poll, on the thread that calls it: a host needs no thread of
// its own for it and no lock in its handler. One thread at a time uses a monitor. Its
// operations raise what the plug-in raises.

#ifndef KIVCORE_MONITOR_H
#define KIVCORE_MONITOR_H

#include <string>

#include <kivcore/export.h>
#include <kivcore/plugin.h>
#include <kivsys/severity.h>

namespace kivcore {

class KIVCORE_API monitor : public plugin {
  public:
    class handler;

    ~monitor() override;

    // "monitor"
    std::string kind() override;

    // Watches path from now on and tells sink, which is not null, stays the caller's and
    // must live until stop or the monitor's end. 0 for success, negative for a failure: one
    // is a monitor that was started and not stopped since, which goes on as it was.
    virtual int start(std::string const& path, handler* sink) = 0;

    // Delivers what has happened, waiting up to timeout_ms milliseconds for it; -1
    // waits without a limit. Returns the number of events, 0 at the time limit,
    // negative for a failure, when not started, and when the end of what is watched has been
    // told.
    virtual int poll(int timeout_ms) = 0;

    // Watches no longer. 0 for success, negative for a failure and when not started. Also
    // called for after terminate, before the next start; destroying the monitor stops it too.
    virtual int stop() = 0;
};

// Receives what a monitor sees, on the thread that polls. Owned by whoever made it; not
// reference counted. Whether it may throw, or call the monitor back, is the plug-in's to
// say.
class KIVCORE_API monitor::handler {
  public:
    // What happened. The underlying type is fixed: a plug-in may tell of more than these.
    enum e_change : int { k_created = 0, k_modified = 1, k_removed = 2 };

    virtual ~handler() = 0;

    // Writes "<LEVEL> message" to standard error as one line, formatted as printf does
    // and of any length. Writes nothing when format is null or cannot be formatted.
    // Any thread may call this version.
    virtual void log(kivsys::_severity::severity severity, char const* format, ...)
        __attribute__((format(printf, 3, 4)));

    // The watched thing is gone and nothing more will come: stop, and start anew where that
    // makes sense. Does nothing here.
    virtual void terminate();

    // Something happened to path, which is valid during the call.
    virtual void changed(std::string const& path, e_change change) = 0;
};

}  // namespace kivcore

#endif
