#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <support/files.h>

namespace support {

namespace fs = std::filesystem;

temporary_directory::temporary_directory() {
    std::string pattern = (fs::temp_directory_path() / "kivcore-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a temporary directory");
    }
    root = pattern;
}

temporary_directory::~temporary_directory() {
    std::error_code ignored;  // what cannot be removed is left for the system to clean
    fs::remove_all(root, ignored);
}

std::string temporary_directory::path(std::string const& name) const {
    return name.empty() ? root.string() : (root / name).string();
}

std::string temporary_directory::write(std::string const& name, std::string const& content) const {
    fs::path const file = root / name;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file.string();
}

int temporary_directory::shell(std::string const& command) const {
    std::string const there = "cd '" + root.string() + "' && " + command;
    return std::system(there.c_str());  // NOLINT(cert-env33-c): the commands are the tests' own
}

std::string read_file(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::ptrdiff_t open_files() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

std::string sample(std::size_t size) {
    std::string text;
    for (unsigned int line = 0; text.size() < size; ++line) {
        text += std::to_string(line * 2654435761U) + '\n';
    }
    text.resize(size);
    return text;
}

}  // namespace support
