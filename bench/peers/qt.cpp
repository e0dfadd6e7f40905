// Qt: reads the metadata of `count` plug-ins from their files without opening them; opens a
// shared object and binds a function from it.

#include <QDir>
#include <QJsonObject>
#include <QLibrary>
#include <QPluginLoader>
#include <memory>
#include <vector>

#include "load.h"
#include "peer.h"

namespace {

int load(std::string const& dir) {
    // A loader holds the metadata.
    static std::vector<std::unique_ptr<QPluginLoader>> loaders;
    int described = 0;
    for (QFileInfo const& file : QDir(QString::fromStdString(dir)).entryInfoList(QDir::Files)) {
        loaders.push_back(std::make_unique<QPluginLoader>(file.filePath()));
        described += loaders.back()->metaData().contains("MetaData") ? 1 : 0;
    }
    return described;
}

}  // namespace

int main(int argc, char** argv) {
    peer::report_load(argc, argv, load, PEER_PLUGIN);
    peer::report_first_create([] {
        QLibrary image(peer::k_image);
        peer::create_and_release(
            reinterpret_cast<peer::create_function>(image.resolve(peer::k_create)));
        image.unload();
    });
}
