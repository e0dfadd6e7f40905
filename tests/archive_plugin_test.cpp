#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include <kivcore/kivcore.h>
#include <support/capture.h>
#include <support/files.h>

namespace {

using entry_list = kivcore::browser::entry_list;
using files_read = std::map<std::string, std::string>;  // path inside the archive -> content

struct item {
    std::string name;
    std::string content;
    unsigned int type = AE_IFREG;
};

struct writing {
    std::string name;
    int (*format)(archive*);
    int (*filter)(archive*) = archive_write_add_filter_none;
    char const* options = nullptr;
};

struct free_writer {
    void operator()(archive* handle) const { archive_write_free(handle); }
};
struct free_entry {
    void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};

void write_item(archive* to, item const& written) {
    std::unique_ptr<archive_entry, free_entry> const entry(archive_entry_new());
    archive_entry_copy_pathname(entry.get(), written.name.c_str());
    archive_entry_set_filetype(entry.get(), written.type);
    archive_entry_set_perm(entry.get(), 0644);
    archive_entry_set_mtime(entry.get(), 1000000000, 0);
    if (written.type == AE_IFLNK) {
        archive_entry_copy_symlink(entry.get(), written.content.c_str());
    } else if (written.type == AE_IFREG) {
        archive_entry_set_size(entry.get(), static_cast<la_int64_t>(written.content.size()));
    }
    ASSERT_GE(archive_write_header(to, entry.get()), ARCHIVE_WARN) << archive_error_string(to);
    if (written.type == AE_IFREG) {
        archive_write_data(to, written.content.data(), written.content.size());
    }
}

std::vector<writing> const k_writings = {
    {"a.zip", archive_write_set_format_zip},
    {"a.tar", archive_write_set_format_ustar},
    {"a.pax.gz", archive_write_set_format_pax, archive_write_add_filter_gzip},
    {"a.gnu.xz", archive_write_set_format_gnutar, archive_write_add_filter_xz},
    {"a.tar.zst", archive_write_set_format_ustar, archive_write_add_filter_zstd},
    {"a.tar.bz2", archive_write_set_format_ustar, archive_write_add_filter_bzip2},
    {"a.7z", archive_write_set_format_7zip},
};

int run(std::string const& command) {
    return std::system(command.c_str());  // NOLINT(cert-env33-c): for the shell
}

// Hard to compress, and different at every place.
std::string long_text(unsigned int lines) {
    std::string text;
    for (unsigned int i = 0; i < lines; ++i) {
        text += std::to_string(i * 2654435761U) + "\n";
    }
    return text;
}

struct archive_plugin : testing::Test {
    void SetUp() override {
        ASSERT_TRUE(registry->load_plugin(BUILT_PLUGIN_DIR "/archive"));
        browser = kivcore::create<kivcore::browser>(registry, "io/browse/7z/kivcore/1.0");
        reader = kivcore::create<kivcore::reader>(registry, "io/read/archive/kivcore/1.0");
        ASSERT_TRUE(browser && reader);
    }

    std::string make(writing const& how, std::vector<item> const& items) const {
        std::string path = directory.path(how.name);
        std::unique_ptr<archive, free_writer> const out(archive_write_new());
        how.format(out.get());
        how.filter(out.get());
        if (how.options != nullptr) {
            EXPECT_EQ(ARCHIVE_OK, archive_write_set_options(out.get(), how.options));
            archive_write_set_passphrase(out.get(), "secret");
        }
        EXPECT_EQ(ARCHIVE_OK, archive_write_open_filename(out.get(), path.c_str()));
        for (item const& each : items) {
            write_item(out.get(), each);
        }
        EXPECT_EQ(ARCHIVE_OK, archive_write_close(out.get())) << archive_error_string(out.get());
        return path;
    }

    std::string make_tar(std::vector<item> const& items) const {
        return make({"t.tar", archive_write_set_format_gnutar}, items);
    }

    // What reading in pieces gives; the last result in `result`.
    std::string read_rest(long long& result) const {
        std::string all;
        char piece[5000];
        while ((result = reader->read(piece, sizeof piece)) > 0) {
            all.append(piece, static_cast<std::size_t>(result));
        }
        return all;
    }

    std::string read_whole(std::string const& url) const {
        long long result = reader->open(url, "r");
        if (result != 0) {
            return "cannot be opened: " + std::to_string(result);
        }
        std::string const all = read_rest(result);
        EXPECT_EQ(0, reader->close());
        return result == 0 ? all : "cannot be read: " + std::to_string(result);
    }

    // Everything below a path, by what follows the "!" in the paths.
    files_read read_all(std::string const& top) const {
        files_read all;
        std::vector<std::string> waiting = {top};
        while (!waiting.empty()) {
            auto const [dirs, files] = browser->list(std::exchange(waiting.back(), ""));
            waiting.pop_back();
            for (auto const& [name, path] : dirs) {
                waiting.push_back(path);
            }
            for (auto const& [name, path] : files) {
                all[path.substr(path.find('!'))] = read_whole(browser->url(path));
            }
        }
        return all;
    }

    int open_result(std::string const& url) const {
        int const result = reader->open(url, "r");
        reader->close();
        return result;
    }

    support::temporary_directory directory;
    morbase::ptr_refcount<kivcore::plugins> registry{new kivcore::plugins("")};
    kivcore::instance<kivcore::browser> browser;
    kivcore::instance<kivcore::reader> reader;
};

std::vector<item> const k_tree = {
    {"top", "at the top"},
    {"d", "", AE_IFDIR},
    {"d/empty", ""},
    {"d/e/f/deep", "far"},
    {"implied/long", long_text(40000)},
};

TEST_F(archive_plugin, every_format_and_compression_is_listed_and_read) {
    for (writing const& how : k_writings) {
        files_read expected;
        for (item const& each : k_tree) {
            if (each.type == AE_IFREG) {
                expected["!/" + each.name] = each.content;
            }
        }
        std::string const path = make(how, k_tree);
        EXPECT_TRUE(browser->can_browse(path)) << path;
        EXPECT_TRUE(expected == read_all(path)) << path;
    }
}

TEST_F(archive_plugin, info_says_what_the_archive_knows) {
    std::string const zip = make(k_writings[0], {{"d/a b", "content"}});
    std::string const file = browser->list_files(browser->list_dirs(zip)[0].second)[0].second;
    EXPECT_EQ("archive:" + zip + "!/d/a%20b", file);
    using info = std::map<std::string, std::string>;
    EXPECT_EQ((info{{"name", "a b"},
                    {"type", "file"},
                    {"size", "7"},
                    {"modified", "2001-09-09T01:46:40Z"},
                    {"permissions", "rw-r--r--"},
                    {"format", "ZIP 2.0 (deflation)"}}),
              browser->info(file));
    EXPECT_EQ((info{{"name", "d"}, {"type", "directory"}}),
              browser->info("archive:" + zip + "!/d"));

    std::string const tar = make(k_writings[2], {{"l", "../../etc/x\n", AE_IFLNK}});
    EXPECT_EQ((info{{"name", "a.pax.gz"},
                    {"type", "directory"},
                    {"entries", "1"},
                    {"format", "POSIX ustar format"},
                    {"compression", "gzip"}}),
              browser->info(tar));
    info const link = browser->info("archive:" + tar + "!/l");
    EXPECT_EQ("symbolic link", link.at("type"));
    EXPECT_EQ("../../etc/x%0A", link.at("link"));
}

// The contents tell the entries apart.
TEST_F(archive_plugin, hostile_names_are_shown_safely_and_stay_inside) {
    std::string const tar = make_tar({{"../up", "1"},
                                      {"/abs", "2"},
                                      {"abs", "3"},
                                      {"./a//abs", "4"},
                                      {"a/b", "12"},
                                      {"a", "5"},
                                      {"back\\slash", "6"},
                                      {"line\n\x1b[31m\xc2\x85\xe2\x80\xae\xe2\x80\xac", "7"},
                                      {"latin-\xe9\xed\xa0\x80\xe0\x80\xaf", "8"},
                                      {"q?2!/x", "9"},
                                      {"..", "10"},
                                      {"caf\xc3\xa9", "11"}});
    std::string const root = "archive:" + tar + "!/";
    auto const [dirs, files] = browser->list(tar);
    EXPECT_EQ((entry_list{
                  {"%2E%2E", root + "%2E%2E/"}, {"a", root + "a/"}, {"q?2!", root + "q%3F2%21/"}}),
              dirs);
    EXPECT_EQ((entry_list{{"%2E%2E", root + "%2E%2E"},
                          {"a", root + "a"},
                          {"abs", root + "abs"},
                          {"abs (2)", root + "abs?2"},
                          {"back\\slash", root + "back%5Cslash"},
                          {"caf\xc3\xa9", root + "caf%C3%A9"},
                          {"latin-%E9%ED%A0%80%E0%80%AF", root + "latin-%E9%ED%A0%80%E0%80%AF"},
                          {"line%0A%1B[31m%C2%85%E2%80%AE%E2%80%AC",
                           root + "line%0A%1B%5B31m%C2%85%E2%80%AE%E2%80%AC"}}),
              files);
    EXPECT_EQ((files_read{{"!/%2E%2E", "10"},
                          {"!/%2E%2E/up", "1"},
                          {"!/a", "5"},
                          {"!/a/abs", "4"},
                          {"!/a/b", "12"},
                          {"!/abs", "2"},
                          {"!/abs?2", "3"},
                          {"!/back%5Cslash", "6"},
                          {"!/caf%C3%A9", "11"},
                          {"!/latin-%E9%ED%A0%80%E0%80%AF", "8"},
                          {"!/line%0A%1B%5B31m%C2%85%E2%80%AE%E2%80%AC", "7"},
                          {"!/q%3F2%21/x", "9"}}),
              read_all(tar));
}

// A zip entry says in a flag that its name is UTF-8. The test runs in the C locale, which
// has no characters for it.
TEST_F(archive_plugin, zip_names_do_not_depend_on_the_locale) {
    std::string const zip = make(k_writings[0], {{"caf\xe9.txt", "1"}, {"na\xc3\xafve", "2"}});
    EXPECT_EQ((files_read{{"!/caf%E9.txt", "1"}, {"!/na%C3%AFve", "2"}}), read_all(zip));

    std::string bytes = support::read_file(zip);
    for (std::string const& mark : {std::string("PK\x03\x04"), std::string("PK\x01\x02")}) {
        std::size_t const second = bytes.find(mark, bytes.find(mark) + 1);
        std::size_t const flags = second + (mark[2] == 3 ? 6 : 8);
        bytes[flags + 1] = static_cast<char>(bytes[flags + 1] | 8);
    }
    EXPECT_EQ((files_read{{"!/caf%E9.txt", "1"}, {"!/na%C3%AFve", "2"}}),
              read_all(directory.write("flagged.zip", bytes)));
}

TEST_F(archive_plugin, what_is_no_readable_file_is_refused) {
    std::string const tar = make_tar({{"link", "/etc/passwd", AE_IFLNK},
                                      {"fifo", "", AE_IFIFO},
                                      {"d", "", AE_IFDIR},
                                      {"f", "x"}});
    std::string const root = "archive:" + tar + "!/";
    EXPECT_EQ(-ELOOP, open_result(root + "link"));
    EXPECT_EQ(-EOPNOTSUPP, open_result(root + "fifo"));
    EXPECT_EQ(-EISDIR, open_result(root + "d/"));
    EXPECT_EQ(-EISDIR, open_result(tar));
    EXPECT_EQ(-ENOENT, open_result(root + "f/../f"));
    EXPECT_EQ(-ENOENT, open_result(root + "f?2"));
    EXPECT_EQ(-EINVAL, open_result(root + "f?0"));
    EXPECT_EQ(-EINVAL, open_result(root + "%6"));
    EXPECT_EQ(-EINVAL, reader->open(root + "f", "w"));
    EXPECT_EQ("", browser->url(root + "d/"));
    EXPECT_EQ("", browser->url(root + "g"));

    std::string const zip = make({"s.zip", archive_write_set_format_zip,
                                  archive_write_add_filter_none, "zip:encryption=aes256"},
                                 {{"f", "x"}});
    EXPECT_EQ("yes", browser->info("archive:" + zip + "!/f")["encrypted"]);
    EXPECT_EQ(-EACCES, open_result("archive:" + zip + "!/f"));
}

TEST_F(archive_plugin, what_is_no_archive_has_nothing) {
    ASSERT_EQ(0, mkfifo(directory.path("fifo").c_str(), 0600));
    std::string const nul = make_tar({{"f", "x"}}) + std::string(1, '\0');
    std::vector<std::string> const refused = {directory.path("missing"),
                                              directory.path("fifo"),
                                              directory.path(),
                                              directory.write("empty.zip", ""),
                                              directory.write("text", "PK is no archive\n"),
                                              "/proc/self/mem",
                                              "archive:" + directory.path("t.tar"),
                                              "archive:%zz!/",
                                              "",
                                              nul};
    for (std::string const& path : refused) {
        EXPECT_FALSE(browser->can_browse(path)) << path;
        EXPECT_EQ(std::make_pair(entry_list(), entry_list()), browser->list(path)) << path;
        EXPECT_TRUE(browser->info(path).empty()) << path;
        EXPECT_LT(open_result("archive:" + path + "!/f"), 0) << path;
    }
}

TEST_F(archive_plugin, seeks_lead_to_the_same_bytes_as_reading) {
    std::string const text = long_text(60000);
    for (writing const& how : k_writings) {
        std::string const path = make(how, {{"before", "x"}, {"f", text}});
        ASSERT_EQ(0, reader->open("archive:" + path + "!/f", "r"));
        auto const size = static_cast<long long>(text.size());
        for (long long const position : {400000LL, 5LL, size - 3, 65530LL, 65540LL, 0LL}) {
            char piece[40] = {};
            EXPECT_EQ(position, reader->seek(position - size, morbase::from_end));
            EXPECT_EQ(std::min(40LL, size - position), reader->peek(piece, sizeof piece));
            EXPECT_EQ(position, reader->tell());
            EXPECT_EQ(text.substr(static_cast<std::size_t>(position), 40),
                      std::string(piece, strnlen(piece, sizeof piece)));
        }
        char byte = 0;
        EXPECT_EQ(size + 9, reader->seek(size + 9, morbase::from_current));
        EXPECT_EQ(0, reader->read(&byte, 1));
        EXPECT_EQ(-EINVAL, reader->seek(-1, morbase::from_start));
        EXPECT_EQ(-EOVERFLOW, reader->seek(LLONG_MAX, morbase::from_current));
        EXPECT_EQ(size + 9, reader->tell());
        EXPECT_EQ(0, reader->close());
    }
}

TEST_F(archive_plugin, holes_are_read_as_zeros_up_to_the_end) {
    std::string const file = directory.write("sparse", std::string(4096, 'a'));
    std::filesystem::resize_file(file, 1000000);
    std::string const command = "cd '" + directory.path() + "' && tar --sparse -cf s.tar sparse";
    ASSERT_EQ(0, run(command));
    ASSERT_LT(std::filesystem::file_size(directory.path("s.tar")), 100000U);
    std::string const read = read_whole("archive:" + directory.path("s.tar!/sparse"));
    EXPECT_TRUE(support::read_file(file) == read);
}

// Without the end of its directory, a zip is read entry by entry: the size comes after the data.
TEST_F(archive_plugin, a_size_that_no_header_tells_is_found) {
    std::string const text = long_text(50000);
    std::string const zip = make(k_writings[0], {{"f", text}});
    std::string bytes = support::read_file(zip);
    bytes.replace(22, 4, 4, '\0');  // the size in the header before the data
    directory.write("a.zip", bytes.substr(0, bytes.find("PK\x05\x06")));
    ASSERT_EQ(0, reader->open("archive:" + zip + "!/f", "r"));
    EXPECT_EQ(0U, browser->info("archive:" + zip + "!/f").count("size"));
    EXPECT_EQ(static_cast<long long>(text.size()), reader->size());
    EXPECT_EQ(0, reader->tell());
    long long result = -1;
    EXPECT_TRUE(text == read_rest(result));
    EXPECT_EQ(0, result);
}

TEST_F(archive_plugin, a_cut_archive_gives_what_is_before_the_cut_and_a_failure) {
    std::string const text = long_text(3000);
    for (writing const& how : k_writings) {
        std::string const path = make(how, {{"f", text}});
        std::string const bytes = support::read_file(path);
        // 7z has its directory behind the data, and tar files end in padding.
        std::size_t const last = bytes.size() > text.size() ? text.size() : bytes.size() / 2;
        for (std::size_t cut = 0; cut < last; cut += 997) {
            directory.write(how.name, bytes.substr(0, cut));
            read_all(path);
            long long result = reader->open("archive:" + path + "!/f", "r");
            if (result == 0) {
                std::string const got = read_rest(result);
                EXPECT_TRUE(text.compare(0, got.size(), got) == 0) << path << " cut at " << cut;
                reader->close();
            }
            EXPECT_LT(result, 0) << path << " cut at " << cut;
        }
    }
}

TEST_F(archive_plugin, damage_is_told_and_never_taken_for_data) {
    std::string const text = long_text(3000);
    std::string const zip = make(k_writings[0], {{"f", text}});
    std::string const bytes = support::read_file(zip);
    for (std::size_t at = 0; at < bytes.size(); at += 61) {
        std::string damaged = bytes;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
        directory.write("a.zip", damaged);
        for (auto const& [path, content] : read_all(zip)) {
            EXPECT_TRUE(content == text || content.find("cannot be") == 0) << at << path;
        }
    }

    std::string const tar = make_tar({{"a", "1"}, {"b", "2"}});
    std::string second_header = support::read_file(tar);
    second_header[1024] = 'x';
    directory.write("t.tar", second_header);
    EXPECT_EQ((files_read{{"!/a", "1"}}), read_all(tar));
    EXPECT_EQ("Damaged tar archive", browser->info(tar)["damage"]);
    EXPECT_EQ(-EBADMSG, open_result("archive:" + tar + "!/b"));
}

TEST_F(archive_plugin, a_changed_archive_is_noticed_and_an_open_file_is_not_exchanged) {
    std::string const text = long_text(40000);
    std::string const path = make_tar({{"f", text}});
    EXPECT_EQ(1U, browser->list_files(path).size());
    ASSERT_EQ(0, reader->open("archive:" + path + "!/f", "r"));
    std::filesystem::rename(path, path + ".old");
    make_tar({{"f", "other"}, {"g", "new"}});
    EXPECT_EQ((entry_list{{"f", "archive:" + path + "!/f"}, {"g", "archive:" + path + "!/g"}}),
              browser->list_files(path));
    long long result = -1;
    EXPECT_TRUE(text == read_rest(result));
    EXPECT_EQ(0, reader->seek(0, morbase::from_start));
    std::filesystem::resize_file(path + ".old", 100000);
    EXPECT_TRUE(text.substr(0, 99488) == read_rest(result));
    EXPECT_EQ(-EBADMSG, result);
    EXPECT_EQ(-EBUSY, reader->open("archive:" + path + "!/f", "r"));
    EXPECT_EQ(0, reader->close());
    EXPECT_EQ("other", read_whole("archive:" + path + "!/f"));
}

TEST_F(archive_plugin, nothing_works_while_nothing_is_open) {
    char byte = 0;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(-EBADF, reader->read(&byte, 1));
        EXPECT_EQ(-EBADF, reader->seek(0, morbase::from_start));
        EXPECT_EQ(-EBADF, reader->tell());
        EXPECT_EQ(-EBADF, reader->size());
        EXPECT_EQ(-EBADF, reader->close());
        EXPECT_EQ("x", read_whole("archive:" + make_tar({{"f", "x"}}) + "!/f"));
    }
}

// Work that grows with the square of the entries, or a stack that grows with their depth,
// does not get through this.
TEST_F(archive_plugin, many_entries_and_deep_ones_are_listed) {
    std::string deep;
    for (int i = 0; i < 20000; ++i) {
        deep += "d/";
    }
    std::vector<item> items = {{deep + "f", "x"}};
    for (int i = 0; i < 50000; ++i) {
        items.push_back({"many/" + std::to_string(i) + "/f", ""});
        items.push_back({"same", i == 40000 ? "x" : ""});
    }
    std::string const tar = make_tar(items);
    EXPECT_EQ(50000U, browser->list_dirs("archive:" + tar + "!/many/").size());
    EXPECT_EQ("same (50000)", browser->list_files(tar).back().first);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ("1", browser->info("archive:" + tar + "!/same?40001")["size"]);
    }
    std::string const bottom = "archive:" + tar + "!/" + deep;
    EXPECT_EQ((entry_list{{"f", bottom + "f"}}), browser->list_files(bottom));
    EXPECT_EQ("x", read_whole(bottom + "f"));
}

TEST_F(archive_plugin, only_the_create_functions_are_exported) {
    support::capture out(1);
    ASSERT_EQ(0, run("nm -D --defined-only --format=just-symbols " BUILT_PLUGIN_DIR
                     "/archive/darwin/x86/plugin.so"));
    EXPECT_EQ("archive_create_browser\narchive_create_reader\n", out.text());
}

}  // namespace
