// A host of Qt plug-ins: twice, it creates the object of the plug-in that is its argument.

#include <QCoreApplication>
#include <QPluginLoader>
#include <cstdio>

namespace {

void load_and_create(QString const& path) {
    QPluginLoader loader(path);
    bool const is_made = loader.instance() != nullptr;
    std::puts(is_made ? "made" : qPrintable(loader.errorString()));
    loader.unload();
}

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    QCoreApplication const application(argc, argv);
    load_and_create(argv[1]);
    std::puts("again");
    load_and_create(argv[1]);
}
