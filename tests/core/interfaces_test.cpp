#include <map>
#include <string>

#include <gtest/gtest.h>

#include <kivcore/browser.h>
#include <kivcore/monitor.h>
#include <morbase/ptr_refcount.h>
#include <support/capture.h>

namespace {

using morbase::ptr_refcount;

// Lists a/ and b; records which lists were requested.
struct small_browser final : kivcore::browser {
    bool can_browse(std::string const& path) override { return path.empty(); }
    std::string root() override { return {}; }
    void get_list(std::string const& path, entry_list* dirs, entry_list* files) override {
        wanted = std::string(dirs != nullptr ? "dirs " : "") + (files != nullptr ? "files" : "");
        if (dirs != nullptr) {
            dirs->emplace_back("a", path + "/a");
        }
        if (files != nullptr) {
            files->emplace_back("b", path + "/b");
        }
    }
    void get_info(std::string const& path, std::map<std::string, std::string>& info) override {
        info["path"] = path;
    }
    void get_url(std::string const& path, std::string& url) override { url = "small:" + path; }

    std::string wanted;
};

TEST(browser, requests_only_the_lists_that_are_wanted) {
    using list = kivcore::browser::entry_list;
    ptr_refcount<small_browser> const browser = new small_browser;
    list const dirs = {{"a", "p/a"}};
    list const files = {{"b", "p/b"}};
    EXPECT_EQ(browser->list("p"), std::make_pair(dirs, files));
    EXPECT_EQ(browser->wanted, "dirs files");
    EXPECT_EQ(browser->list_dirs("p"), dirs);
    EXPECT_EQ(browser->wanted, "dirs ");
    EXPECT_EQ(browser->list_files("p"), files);
    EXPECT_EQ(browser->wanted, "files");
    EXPECT_EQ(browser->info("p"), (std::map<std::string, std::string>{{"path", "p"}}));
    EXPECT_EQ(browser->url("p"), "small:p");
}

struct plain_handler final : kivcore::monitor::handler {
    void changed(std::string const& /*path*/, e_change /*change*/) override {}
};

using kivsys::_severity;

TEST(monitor_handler, every_severity_has_its_name) {
    plain_handler handler;
    support::captured_output output;
    for (unsigned int const severity : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, ~0U}) {
        handler.log(static_cast<_severity::severity>(severity), "%s", "%d");
    }
    EXPECT_EQ(output.out.text(), "");
    EXPECT_EQ(output.err.text(),
              "<DEBUG> %d\n<INFO> %d\n<NOTICE> %d\n<WARNING> %d\n<ERROR> %d\n<CRITICAL> %d\n"
              "<ALERT> %d\n<EMERGENCY> %d\n<UNKNOWN> %d\n<UNKNOWN> %d\n<UNKNOWN> %d\n");
}

TEST(monitor_handler, a_message_of_any_length_is_one_whole_line) {
    plain_handler handler;
    for (std::size_t const length :
         {1020U, 1021U, 1022U, 5000U, 300000U}) {  // 1023 fit the first buffer
        std::string const text(length, 'x');
        support::capture output(2);
        handler.log(_severity::k_warning, "%d %s%c", 5, text.c_str(), '!');
        EXPECT_TRUE(output.text() == "<WARNING> 5 " + text + "!\n") << length;
    }
    support::capture output(2);
    handler.log(_severity::k_warning, "%s", "");
    EXPECT_EQ(output.text(), "<WARNING> \n");
}

TEST(monitor_handler, nothing_is_written_without_a_message) {
    plain_handler handler;
    char const* volatile none = nullptr;  // hidden from the compiler's format check
    support::captured_output output;
    handler.log(_severity::k_error, none, 0);
    // The "C" locale has no wide characters beyond ASCII.
    handler.log(_severity::k_error, "%ls", L"\u20ac");
    handler.terminate();
    EXPECT_EQ(output.out.text() + output.err.text(), "");
}

}  // namespace
