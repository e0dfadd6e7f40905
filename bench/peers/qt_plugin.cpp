// A Qt plug-in with as much metadata as one of the benchmark's descriptions.

#include <QObject>

class qt_plugin final : public QObject {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "kivcore.bench" FILE "qt_plugin.json")
};

#include "qt_plugin.moc"
