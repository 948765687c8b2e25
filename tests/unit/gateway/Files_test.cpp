#include "Files.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

namespace Gateway {
namespace {

class FilesTest : public testing::Test {
protected:
    FilesTest() {
        char folder[] = "/tmp/gateway-files-XXXXXX";
        m_folder = mkdtemp(folder);
        std::filesystem::create_directories(m_folder + "/page/modules");
        Write("page/index.html", "<p>");
        Write("page/modules/view.js", "1");
        Write("page/.hidden", "secret");
        Write("outside.txt", "secret");
    }

    ~FilesTest() override { std::filesystem::remove_all(m_folder); }

    void Write(const std::string& name, const std::string& content) const {
        std::ofstream(m_folder + "/" + name) << content;
    }

    static HttpRequest Get(const std::string& path) {
        HttpRequest request;
        request.method = "GET";
        request.path = path;
        return request;
    }

    std::string m_folder;
};

TEST_F(FilesTest, AreServedWithTheirTypes) {
    const Files files(m_folder + "/page");
    const auto index = files.Answer(Get("/"));
    ASSERT_TRUE(index);
    EXPECT_EQ(index->body, "<p>");
    EXPECT_EQ(index->contentType, "text/html; charset=utf-8");
    const auto script = files.Answer(Get("/modules/view.js"));
    ASSERT_TRUE(script);
    EXPECT_EQ(script->contentType, "text/javascript; charset=utf-8");
}

TEST_F(FilesTest, NothingElseIs) {
    const Files files(m_folder + "/page");
    EXPECT_EQ(files.Count(), 2U);
    for (const char* path :
         {"/.hidden", "/../outside.txt", "/modules", "/modules/", "//index.html", "", "/modules/../index.html"}) {
        EXPECT_FALSE(files.Answer(Get(path))) << path;
    }
}

TEST_F(FilesTest, ABrowserThatHasTheFileIsToldSo) {
    const Files files(m_folder + "/page");
    const auto first = files.Answer(Get("/"));
    ASSERT_TRUE(first);
    HttpRequest again = Get("/");
    again.headers.emplace_back("if-none-match", first->headers.front().second);
    const auto second = files.Answer(again);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->status, 304);
    EXPECT_TRUE(second->body.empty());
}

TEST_F(FilesTest, AFolderThatIsNotThereHasNone) {
    EXPECT_EQ(Files(m_folder + "/nowhere").Count(), 0U);
}

} // namespace
} // namespace Gateway
