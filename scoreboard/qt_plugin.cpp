// A Qt plug-in whose object does nothing.

#include <QObject>
#include <QtPlugin>

#include "faults.h"

class scoreboard_plugin final : public QObject {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "kivcore.scoreboard" FILE "plugin.json")

  public:
    scoreboard_plugin() { create_faultily(); }
};

// What Qt's own macro does is the body of the entry function.
#ifdef RETURNS_NULL
#undef Q_PLUGIN_INSTANCE
#define Q_PLUGIN_INSTANCE(type) \
    { return nullptr; }
#endif

#include "qt_plugin.moc"
