#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include <kivcore/kivcore.h>
#include <support/bundled.h>
#include <support/files.h>

namespace {

using entry_list = kivcore::browser::entry_list;
using support::failure;
using support::take;
using support::take_all;
// Displayed name and path inside the archive -> content.
using files_read = std::map<std::string, std::string>;

struct item {
    std::string name;
    std::string content;
    unsigned int type = AE_IFREG;
    unsigned int times = 1;  // how often the content is repeated
};

struct writing {
    std::string name;
    int (*format)(archive*);
    int (*filter)(archive*) = archive_write_add_filter_none;
    char const* options = nullptr;
};

struct release {
    void operator()(archive* handle) const { archive_write_free(handle); }
    void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};

void write_item(archive* to, item const& written) {
    std::unique_ptr<archive_entry, release> const entry(archive_entry_new());
    archive_entry_copy_pathname(entry.get(), written.name.c_str());
    archive_entry_set_filetype(entry.get(), written.type);
    archive_entry_set_perm(entry.get(), 0644);
    archive_entry_set_mtime(entry.get(), 1000000000, 0);
    if (written.type == AE_IFLNK) {
        archive_entry_copy_symlink(entry.get(), written.content.c_str());
    } else if (written.type == AE_IFREG) {
        auto const size = static_cast<la_int64_t>(written.content.size());
        archive_entry_set_size(entry.get(), size * written.times);
    }
    ASSERT_GE(archive_write_header(to, entry.get()), ARCHIVE_WARN) << archive_error_string(to);
    for (unsigned int i = 0; written.type == AE_IFREG && i < written.times; ++i) {
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

// The number of bytes that this process has read so far.
long long bytes_read() {
    std::ifstream counts("/proc/self/io");
    std::string name;
    long long count = 0;
    counts >> name >> count;
    EXPECT_EQ("rchar:", name);
    return count;
}

struct archive_plugin : testing::Test {
    std::string make(writing const& how, std::vector<item> const& items) const {
        std::string path = directory.path(how.name);
        std::unique_ptr<archive, release> const out(archive_write_new());
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

    // The whole content, or the failure.
    std::string read(std::string const& url) const {
        int const refused = reader->open(url, "r");
        std::string all = refused == 0 ? take_all(*reader) : failure(-refused);
        reader->close();
        return all;
    }

    // Everything below a path.
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
                all[name + " " + path.substr(path.find('!'))] = read(browser->url(path));
            }
        }
        return all;
    }

    support::temporary_directory directory;
    kivcore::instance<kivcore::browser> browser =
        support::bundled<kivcore::browser>("browse", "archive");
    kivcore::instance<kivcore::reader> reader =
        support::bundled<kivcore::reader>("read", "archive");
};

TEST_F(archive_plugin, every_format_and_compression_supports_listing_reading_and_seeking) {
    std::string const text = support::sample(600000);
    auto const size = static_cast<long long>(text.size());
    for (writing const& how : k_writings) {
        SCOPED_TRACE(how.name);
        std::string const path = make(
            how,
            {{"top", "at the top"}, {"d", "", AE_IFDIR}, {"d/empty", ""}, {"implied/by/f", text}});
        EXPECT_TRUE(browser->can_browse(path));
        EXPECT_TRUE((files_read{{"top !/top", "at the top"},
                                {"empty !/d/empty", ""},
                                {"f !/implied/by/f", text}}) == read_all(path));
        ASSERT_EQ(0, reader->open("archive:" + path + "!/implied/by/f", "r"));
        for (long long const position :
             {400000LL, 5LL, size - 3, 65530LL, 65540LL, 0LL, size + 9}) {
            EXPECT_EQ(position, reader->seek(position - size, morbase::from_end));
            auto const start = static_cast<std::size_t>(std::min(position, size));
            char byte = 0;
            EXPECT_EQ(position < size ? 1 : 0, reader->peek(&byte, 1));
            EXPECT_EQ(position, reader->tell());
            EXPECT_EQ(text.substr(start, 40), take(*reader, 40));
        }
        EXPECT_EQ(-EOVERFLOW, reader->seek(LLONG_MAX, morbase::from_current));
        EXPECT_EQ(0, reader->close());
    }
}

#ifdef KIVPLUG  // which is built unless it is switched off
TEST_F(archive_plugin, the_contracts_of_every_format_and_compression_are_kept) {
    for (writing const& how : k_writings) {
        make(how, {{"d/f", support::sample(70000)}, {"empty", ""}, {"l", "empty", AE_IFLNK}});
        std::string const contract = "'" KIVPLUG "' -d '" BUILT_PLUGIN_DIR
                                     "' contract "
                                     "--sequences 50 ";
        EXPECT_EQ(directory.shell(contract + "--browse io/browse/archive/.* " + how.name), 0);
        EXPECT_EQ(directory.shell(contract + "io/read/archive/.* 'archive:" + how.name + "!/d/f'"),
                  0);
    }
}
#endif

// One pass over the archive for each file would read hundreds of times its size.
TEST_F(archive_plugin, many_files_are_read_in_any_order_in_a_few_passes) {
    constexpr std::size_t k_files = 300;
    std::string const text = support::sample(k_files * 2000);
    std::vector<item> items;
    for (std::size_t i = 0; i < k_files; ++i) {
        items.push_back({std::to_string(i), text.substr(i * 2000, 2000 - i)});
    }
    for (writing const& how : k_writings) {
        SCOPED_TRACE(how.name);
        std::string const path = make(how, items);
        auto const size = static_cast<long long>(std::filesystem::file_size(path));
        auto const files = browser->list_files(path);
        // A few more passes: right after the archive was written, no search continues another.
        bool const is_entered = how.name == "a.zip" || how.name == "a.tar";
        long long const most = is_entered ? 900LL * 64 * 1024 : 20 * size;
        long long const before = bytes_read();
        for (std::size_t const step : {std::size_t{1}, std::size_t{7}, k_files - 1}) {
            for (std::size_t i = 0; i < k_files; ++i) {
                auto const& [name, url] = files[i * step % k_files];
                ASSERT_EQ(items[std::stoul(name)].content, read(url)) << url;
            }
            reader = support::bundled<kivcore::reader>("read", "archive");
        }
        EXPECT_GT(most, bytes_read() - before);
    }
}

TEST_F(archive_plugin, files_of_one_archive_can_be_open_at_once_and_read_again) {
    for (writing const& how : k_writings) {
        SCOPED_TRACE(how.name);
        std::string const path = make(how, {{"a", "1234"}, {"b", ""}, {"c", "56"}, {"a", "78"}});
        std::string const root = "archive:" + path + "!/";
        auto const other = support::bundled<kivcore::reader>("read", "archive");
        for (int round = 0; round < 2; ++round) {
            ASSERT_EQ(0, reader->open(root + "a", "r"));
            EXPECT_EQ("12", take(*reader, 2));
            ASSERT_EQ(0, other->open(root + "c", "r"));
            EXPECT_EQ("34", take_all(*reader));
            EXPECT_EQ("56", take_all(*other));
            EXPECT_EQ(0, other->close());
            EXPECT_EQ(0, reader->close());
            EXPECT_EQ(failure(ENOENT), read(root + "d"));
            EXPECT_EQ("78", read(root + "a?2"));
            EXPECT_EQ("", read(root + "b"));
        }
    }
}

TEST_F(archive_plugin, two_threads_read_one_archive) {
    std::string const text = support::sample(20000);
    std::string const file = "archive:" + make(k_writings[2], {50, {"f", text}}) + "!/f?";
    auto const count_good = [&](kivcore::reader& with) {
        int good = 0;
        for (int i = 1; i <= 50; ++i) {
            good += with.open(file + std::to_string(i), "r") == 0 && take_all(with) == text ? 1 : 0;
            with.close();
        }
        return good;
    };
    auto const other = support::bundled<kivcore::reader>("read", "archive");
    auto second = std::async(std::launch::async, [&] { return count_good(*other); });
    EXPECT_EQ(50, count_good(*reader));
    EXPECT_EQ(50, second.get());
}

// A session that waits for the next file must not keep the last file or its archive open.
TEST_F(archive_plugin, nothing_stays_open_after_a_close) {
    std::string const path = make(k_writings[2], {{"a", "1"}, {"b", "23"}});
    auto const before = support::open_files();
    // In the middle of a file, without a close. The plug-in keeps no session for an archive whose
    // time could still stay the same when it is written again.
    while (std::filesystem::last_write_time(path) >=
           std::filesystem::last_write_time(directory.write("tick", ""))) {
        std::this_thread::yield();
    }
    ASSERT_EQ(0, reader->open("archive:" + path + "!/b", "r"));
    EXPECT_EQ("2", take(*reader, 1));
    reader = support::bundled<kivcore::reader>("read", "archive");
    EXPECT_EQ(before, support::open_files());
    EXPECT_EQ("23", read("archive:" + path + "!/b"));
    EXPECT_EQ(before, support::open_files());
    std::filesystem::remove(path);
    EXPECT_EQ(failure(ENOENT), read("archive:" + path + "!/b"));
}

TEST_F(archive_plugin, info_returns_what_the_archive_records) {
    using info = std::map<std::string, std::string>;
    std::string const zip = "archive:" + make(k_writings[0], {{"d/a b", "content"}});
    EXPECT_EQ((info{{"name", "a b"},
                    {"type", "file"},
                    {"size", "7"},
                    {"modified", "2001-09-09T01:46:40Z"},
                    {"permissions", "rw-r--r--"},
                    {"format", "ZIP 2.0 (deflation)"}}),
              browser->info(zip + "!/d/a%20b"));
    EXPECT_EQ((info{{"name", "d"}, {"type", "directory"}}), browser->info(zip + "!/d"));
    EXPECT_EQ("ZIP", browser->info(zip + "!/").at("format"));

    std::string const tar = make(k_writings[2], {{"l", "../../etc/x\n", AE_IFLNK}});
    info const whole = browser->info(tar);
    EXPECT_EQ("1 POSIX ustar format gzip",
              whole.at("entries") + " " + whole.at("format") + " " + whole.at("compression"));
    info const link = browser->info("archive:" + tar + "!/l");
    EXPECT_EQ("symbolic link ../../etc/x%0A", link.at("type") + " " + link.at("link"));
}

TEST_F(archive_plugin, hostile_names_are_shown_safely_and_stay_inside_the_archive) {
    std::pair<char const*, char const*> const names[] = {
        {"../up", "up !/%2E%2E/up"},
        {"/abs", "abs !/abs"},
        {"abs", "abs (2) !/abs?2"},
        {"./a//abs", "abs !/a/abs"},
        {"a", "a !/a"},
        {"back\\slash", "back\\slash !/back%5Cslash"},
        {"line\n\x1b[31m\xc2\x85\xe2\x80\xae\xe2\x80\xac",
         "line%0A%1B[31m%C2%85%E2%80%AE%E2%80%AC !/line%0A%1B%5B31m%C2%85%E2%80%AE%E2%80%AC"},
        {"latin-\xe9\xed\xa0\x80\xe0\x80\xaf",
         "latin-%E9%ED%A0%80%E0%80%AF !/latin-%E9%ED%A0%80%E0%80%AF"},
        {"q?2!/x", "x !/q%3F2%21/x"},
        {"..", "%2E%2E !/%2E%2E"},
        {"caf\xc3\xa9", "caf\xc3\xa9 !/caf%C3%A9"},
    };
    std::vector<item> items;
    files_read expected;
    for (auto const& [stored, shown] : names) {
        items.push_back({stored, stored});
        expected[shown] = stored;
    }
    std::string const tar = make_tar(items);
    EXPECT_EQ(expected, read_all(tar));
    std::string const root = "archive:" + tar + "!/";
    EXPECT_EQ((entry_list{
                  {"%2E%2E", root + "%2E%2E/"}, {"a", root + "a/"}, {"q?2!", root + "q%3F2%21/"}}),
              browser->list_dirs(tar));
}

// A flag in a zip entry says that its name is UTF-8. The test runs in the C locale, which cannot
// represent it.
TEST_F(archive_plugin, zip_names_do_not_depend_on_the_locale) {
    std::string const zip = make(k_writings[0], {{"caf\xe9.txt", "1"}, {"na\xc3\xafve", "2"}});
    std::string bytes = support::read_file(zip);
    for (std::string const& mark : {std::string("PK\x03\x04"), std::string("PK\x01\x02")}) {
        std::size_t const second = bytes.find(mark, bytes.find(mark) + 1);
        std::size_t const flags = second + (mark[2] == 3 ? 6 : 8);
        bytes[flags + 1] = static_cast<char>(bytes[flags + 1] | 8);
    }
    EXPECT_EQ((files_read{{"caf%E9.txt !/caf%E9.txt", "1"}, {"na\xc3\xafve !/na%C3%AFve", "2"}}),
              read_all(directory.write("flagged.zip", bytes)));
}

TEST_F(archive_plugin, entries_that_are_not_readable_files_are_refused) {
    std::string const tar = make_tar({{"link", "/etc/passwd", AE_IFLNK},
                                      {"fifo", "", AE_IFIFO},
                                      {"d", "", AE_IFDIR},
                                      {"f", "x"}});
    std::string const root = "archive:" + tar + "!/";
    EXPECT_EQ(failure(ELOOP), read(root + "link"));
    EXPECT_EQ(failure(EOPNOTSUPP), read(root + "fifo"));
    EXPECT_EQ(failure(EISDIR), read(root + "d/"));
    EXPECT_EQ(failure(EISDIR), read(tar));
    EXPECT_EQ(failure(ENOENT), read(root + "f/../f"));
    EXPECT_EQ(failure(ENOENT), read(root + "f?2"));
    EXPECT_EQ(failure(EINVAL), read(root + "f?0"));
    EXPECT_EQ(failure(EINVAL), read(root + "%6"));
    EXPECT_EQ("", browser->url(root + "d/"));
    EXPECT_EQ("", browser->url(root + "g"));

    std::string const zip = make({"s.zip", archive_write_set_format_zip,
                                  archive_write_add_filter_none, "zip:encryption=aes256"},
                                 {{"f", "x"}});
    EXPECT_EQ("yes", browser->info("archive:" + zip + "!/f")["encrypted"]);
    EXPECT_EQ(failure(EACCES), read("archive:" + zip + "!/f"));

    std::string bytes = support::read_file(make(k_writings[0], {{"f", "x"}}));
    bytes[8] = bytes[bytes.find("PK\x01\x02") + 10] = 97;  // no such compression method
    std::string const unknown = directory.write("a.zip", bytes);
    EXPECT_EQ(failure(EOPNOTSUPP), read("archive:" + unknown + "!/f"));
    EXPECT_EQ(0U, browser->info(unknown).count("damage"));
}

TEST_F(archive_plugin, a_file_that_is_not_an_archive_has_no_entries) {
    ASSERT_EQ(0,
              directory.shell("mkfifo fifo && : >empty.zip && echo 'PK is not an archive' >text"));
    std::string const tar = make_tar({{"f", "x"}});
    std::vector<std::string> refused = {"", "/proc/self/mem", "archive:%zz!/", "archive:" + tar,
                                        tar + '\0'};
    for (char const* name : {"missing", "fifo", "", "empty.zip", "text"}) {
        refused.push_back(directory.path(name));
    }
    for (std::string const& path : refused) {
        EXPECT_FALSE(browser->can_browse(path)) << path;
        EXPECT_EQ(std::make_pair(entry_list(), entry_list()), browser->list(path)) << path;
        EXPECT_TRUE(browser->info(path).empty()) << path;
        EXPECT_EQ("!-", read("archive:" + path + "!/f").substr(0, 2)) << path;
    }
}

TEST_F(archive_plugin, holes_are_read_as_zeros_up_to_the_end) {
    std::string const file = directory.write("sparse", std::string(4096, 'a'));
    std::filesystem::resize_file(file, 1000000);
    ASSERT_EQ(0, directory.shell("tar --sparse -cf s.tar sparse"));
    ASSERT_LT(std::filesystem::file_size(directory.path("s.tar")), 100000U);
    EXPECT_TRUE(support::read_file(file) == read("archive:" + directory.path("s.tar!/sparse")));
}

// Without the end of its directory, a zip is read entry by entry: the size follows the data.
TEST_F(archive_plugin, a_size_that_is_in_no_header_is_found) {
    std::string const text = support::sample(500000);
    std::string const zip = make(k_writings[0], {{"f", text}});
    std::string bytes = support::read_file(zip);
    bytes.replace(22, 4, 4, '\0');  // the size in the header before the data
    directory.write("a.zip", bytes.substr(0, bytes.find("PK\x05\x06")));
    ASSERT_EQ(0, reader->open("archive:" + zip + "!/f", "r"));
    EXPECT_EQ(0U, browser->info("archive:" + zip + "!/f").count("size"));
    EXPECT_EQ(static_cast<long long>(text.size()), reader->size());
    EXPECT_TRUE(text == take_all(*reader));
}

// The shortest complete length: after the two empty blocks that end a tar archive is only padding.
std::size_t end_of(std::string const& archive, std::string const& name) {
    bool const is_tar = name.find(".tar") == name.size() - 4;
    return is_tar ? archive.find_last_not_of('\0') / 512 * 512 + 1536 : archive.size();
}

TEST_F(archive_plugin, a_truncated_archive_is_read_up_to_the_cut_and_then_fails) {
    std::string const text = support::sample(5000);
    std::vector<writing> writings = k_writings;
    writings.push_back({"pax.tar", archive_write_set_format_pax});
    writings.push_back({"gnu.tar", archive_write_set_format_gnutar});
    for (writing const& how : writings) {
        // In formats that support it, a long name has its own headers.
        bool const is_short = how.format == archive_write_set_format_ustar;
        std::string const name(is_short ? 9 : 120, 'n');
        std::string const path = make(how, {{"f", text}, {name, "2"}, {"l", "3"}});
        std::string const bytes = support::read_file(path);
        std::size_t const end = end_of(bytes, how.name);
        for (std::size_t cut = 0; cut < end; cut += cut % 512 < 2 ? 1 + cut % 512 * 199 : 311) {
            SCOPED_TRACE(how.name + " cut at " + std::to_string(cut));
            directory.write(how.name, bytes.substr(0, cut));
            EXPECT_TRUE(!browser->can_browse(path) || browser->info(path).count("damage") == 1);
            EXPECT_EQ(failure(EBADMSG), read("archive:" + path + "!/missing"));
            std::string const got = read("archive:" + path + "!/f");
            std::size_t const failed = std::min(got.rfind("!-"), got.size());
            EXPECT_TRUE(got == text || failed < got.size());
            EXPECT_EQ(0, text.compare(0, failed, got, 0, failed));
        }
        directory.write(how.name, bytes.substr(0, end));
        EXPECT_EQ(0U, browser->info(path).count("damage")) << how.name;
        EXPECT_EQ(failure(ENOENT), read("archive:" + path + "!/missing"));
    }
}

TEST_F(archive_plugin, damage_is_reported_and_never_read_as_data) {
    std::string const text = support::sample(30000);
    std::string const zip = make(k_writings[0], {{"f", text}});
    std::string const bytes = support::read_file(zip);
    for (std::size_t at = 0; at < bytes.size(); at += 61) {
        std::string damaged = bytes;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
        directory.write("a.zip", damaged);
        for (auto const& [path, content] : read_all(zip)) {
            EXPECT_TRUE(content == text || content.find("!-") != std::string::npos) << at << path;
        }
    }

    std::string const tar = make_tar({{"a", "1"}, {"b", "2"}});
    std::string second_header = support::read_file(tar);
    second_header[1024] = 'x';
    directory.write("t.tar", second_header);
    EXPECT_EQ((files_read{{"a !/a", "1"}}), read_all(tar));
    EXPECT_EQ("Damaged tar archive", browser->info(tar)["damage"]);
    EXPECT_EQ(failure(EBADMSG), read("archive:" + tar + "!/b"));
}

TEST_F(archive_plugin, a_changed_archive_is_detected_and_an_open_file_stays_the_same) {
    std::string const text = support::sample(400000);
    std::string const path = make_tar({{"f", text}});
    EXPECT_EQ(1U, browser->list_files(path).size());
    ASSERT_EQ(0, reader->open("archive:" + path + "!/f", "r"));
    std::filesystem::rename(path, path + ".old");
    make_tar({{"f", "other"}, {"g", "new"}});
    EXPECT_EQ(2U, browser->list_files(path).size());
    EXPECT_TRUE(text == take_all(*reader));
    EXPECT_EQ(0, reader->seek(0, morbase::from_start));
    std::filesystem::resize_file(path + ".old", 100000);
    EXPECT_TRUE(text.substr(0, 99488) + failure(EBADMSG) == take_all(*reader));
    EXPECT_EQ(0, reader->close());
    EXPECT_EQ("other", read("archive:" + path + "!/f"));
}

// A few kilobytes expand to more than a gigabyte: the plug-in does not decompress it to reach a
// file.
TEST_F(archive_plugin, the_data_before_a_file_is_bounded) {
    std::string const zeros(std::size_t{16} * 1024 * 1024, '\0');
    std::string const tar = make(k_writings[4], {{"zeros", zeros, AE_IFREG, 100}, {"f", "x"}});
    EXPECT_EQ(failure(EFBIG), read("archive:" + tar + "!/f"));
    EXPECT_EQ((entry_list{{"zeros", "archive:" + tar + "!/zeros"}}), browser->list_files(tar));
    EXPECT_EQ("too much data must be decompressed to reach the next entry yes",
              browser->info(tar)["damage"] + ' ' + browser->info(tar)["limit"]);

    // A map of 4,500,000 parts of a sparse file; rights that are compared pair by pair.
    char const* const k_commands[] = {
        "(echo 4500000; yes 0 | head -n 9000000) >f && tar -c --format=pax --pax-option "
        "GNX.sparse.major:=1,GNX.sparse.minor:=0,GNX.sparse.realsize:=0 f | sed s/GNX/GNU/",
        "tar -c --format=pax --pax-option \"SCHILY.acl.access:=$(seq -f u:%g:r 300)\" f"};
    for (std::string const command : k_commands) {
        ASSERT_EQ(0, directory.shell(command + " | gzip >f.tgz"));
        EXPECT_EQ(failure(EFBIG), read("archive:" + directory.path("f.tgz!/g")));
        EXPECT_TRUE(browser->can_browse(directory.path("f.tgz")));
        EXPECT_EQ("yes", browser->info(directory.path("f.tgz"))["limit"]);
    }
}

// Fails if the work grows with the square of the number of entries, or if the stack grows with
// their depth.
TEST_F(archive_plugin, many_entries_and_deep_entries_are_listed) {
    std::string deep;
    std::vector<item> items;
    for (int i = 0; i < 50000; ++i) {
        deep += i < 5000 ? "d/" : "";
        items.push_back({"many/" + std::to_string(i) + "/f", ""});
        items.push_back({"same", i == 40000 ? "x" : ""});
    }
    items.push_back({deep + "f", "x"});
    items.push_back({"c/" + deep + deep + deep + deep + "f", "x"});
    std::string const tar = make_tar(items);
    EXPECT_EQ("the paths of its directories are too long: 1 of 100002 entries are not listed yes",
              browser->info(tar)["damage"] + ' ' + browser->info(tar)["limit"]);
    EXPECT_EQ(50000U, browser->list_dirs("archive:" + tar + "!/many/").size());
    EXPECT_EQ("same (50000)", browser->list_files(tar).back().first);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ("1", browser->info("archive:" + tar + "!/same?40001")["size"]);
    }
    EXPECT_EQ("x", read_all("archive:" + tar + "!/" + deep).at("f !/" + deep + "f"));
}

}  // namespace
