// A plug-in object that watches something and reports changes to a handler. It calls the handler
// only inside poll, on the thread that calls poll, so a host needs no extra thread, and no lock
// in its handler. Use a monitor from one thread at a time. Exceptions of the plug-in pass
// through.

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

    // Returns "monitor".
    std::string kind() override;

    // Starts to watch path and to report changes to sink. sink must not be null. The caller owns
    // it and must keep it alive until stop, or until the monitor is destroyed. Returns 0 on
    // success, negative on failure. Starting a monitor again without stop fails and changes
    // nothing.
    virtual int start(std::string const& path, handler* sink) = 0;

    // Delivers events, waiting up to timeout_ms milliseconds for one; -1 waits without a limit.
    // Returns the number of events, or 0 if the time has run out. Returns a negative number on
    // failure, if the monitor is not started, and after terminate was called.
    virtual int poll(int timeout_ms) = 0;

    // Stops watching. Returns 0 on success, negative on failure or if the monitor is not started.
    // Also call it after terminate, before the next start. Destroying the monitor stops it too.
    virtual int stop() = 0;
};

// Receives the events of a monitor, on the thread that calls poll. Owned by its creator; not
// reference counted. Whether it may throw, or call the monitor, is up to the plug-in.
class KIVCORE_API monitor::handler {
  public:
    // What happened. The underlying type is fixed, so that a plug-in may report other values.
    enum e_change : int { k_created = 0, k_modified = 1, k_removed = 2 };

    virtual ~handler() = 0;

    // Writes "<LEVEL> message" to standard error as one line of any length, formatted as by
    // printf. Writes nothing if format is null or formatting fails. Any thread may call this
    // version.
    virtual void log(kivsys::_severity::severity severity, char const* format, ...)
        __attribute__((format(printf, 3, 4)));

    // What was watched no longer exists, and no more events will come. Call stop, and start again
    // if that makes sense. This version does nothing.
    virtual void terminate();

    // Something happened to path, which is valid during the call.
    virtual void changed(std::string const& path, e_change change) = 0;
};

}  // namespace kivcore

#endif
