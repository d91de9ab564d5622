// The built program on files that each test writes.
#include <gtest/gtest.h>

#include "cli/program.h"
#include "support/temporaryFolder.h"

namespace tarnwillow::test {

namespace {

class XmlCommand : public testing::Test {
protected:
    /// Writes the document and runs the program on it; both outputs come back as one.
    int run(std::string_view document, const std::string& arguments = "") {
        write_file(folder.file("doc.xml"), document);
        return run_program("xml '" + folder.file("doc.xml") + "' " + arguments);
    }

    int run_program(const std::string& arguments) {
        const ProgramResult result = test::run_program(arguments);
        output = result.output;
        return result.exit_code;
    }

    TemporaryFolder folder;
    std::string output;
};

std::string utf16(std::u16string_view text) {
    std::string bytes = "\xFF\xFE";
    return bytes.append(reinterpret_cast<char const*>(text.data()), text.size() * 2);
}

constexpr std::string_view kList =
    "<list a='1'\n      b='2'>\n  <item>\n one\n  two </item>\n  <Item id='x'/>\n</list>\n";

}  // namespace

TEST_F(XmlCommand, PrintsATree) {
    EXPECT_EQ(run(kList), 0);
    EXPECT_EQ(output, "list a=\"1\" b=\"2\"\n  item: one two\n  Item id=\"x\"\n");
}

TEST_F(XmlCommand, PrintsOneValue) {
    EXPECT_EQ(run(kList, "list/@B"), 0);
    EXPECT_EQ(output, "2\n");
    EXPECT_EQ(run(kList, "list/item"), 0);
    EXPECT_EQ(output, "one\n  two\n");
}

TEST_F(XmlCommand, ReadsBothEncodings) {
    const std::string utf8 = "<a>\xC3\xBC \xE2\x82\xAC \xF0\x9F\x8C\xB3</a>";
    EXPECT_EQ(run("\xEF\xBB\xBF" + utf8, "a"), 0);
    EXPECT_EQ(output, "\xC3\xBC \xE2\x82\xAC \xF0\x9F\x8C\xB3\n");
    EXPECT_EQ(run("<a>\xEF\xBB\xBFx</a>", "a"), 0);
    EXPECT_EQ(output, "\xEF\xBB\xBFx\n");
    EXPECT_EQ(run(utf16(u" <a>\u00FC \u20AC \U0001F333</a>"), "a"), 0);
    EXPECT_EQ(output, "\xC3\xBC \xE2\x82\xAC \xF0\x9F\x8C\xB3\n");
}

TEST_F(XmlCommand, PassesOverWhatStandsBeforeTheDocument) {
    EXPECT_EQ(run("\n<?xml version='1.0'?>\n<!-- it's -->\n"
                  "<!DOCTYPE a [\n<!-- isn't ]> --><!ENTITY b \"]>\">\n<?c ]>?> ]>\n<a>x</a>"),
              0);
    EXPECT_EQ(output, "a: x\n");
}

TEST_F(XmlCommand, SaysWhatIsWrong) {
    const std::string file = folder.file("doc.xml");
    const auto message = [&](const std::string& text) {
        return "tarnwillow: " + file + ": " + text + "\n";
    };
    EXPECT_EQ(run(kList, "list/none"), 1);
    EXPECT_EQ(output, message("ERROR_NOT_FOUND: The element was not found"));
    EXPECT_EQ(run("<a"), 1);
    EXPECT_EQ(output, message("E_INVALIDARG: An argument is not valid"));
    EXPECT_EQ(run("<a b'c'>"), 1);
    EXPECT_EQ(output, message("E_FAIL: Unspecified error"));
    EXPECT_EQ(run(""), 1);
    EXPECT_EQ(run_program("xml '" + folder.file("none") + "'"), 1);
}

TEST_F(XmlCommand, ExplainsItsUse) {
    for (const char* arguments : {"", "xml", "other x", "xml a b c", "xml a ''", "xml a @b",
                                  "xml a b//c", "xml a b/@c/d", "xml a b/@"}) {
        EXPECT_EQ(run_program(arguments), 2) << arguments;
        EXPECT_EQ(output.rfind("usage: tarnwillow xml FILE", 0), 0U);
    }
}

}  // namespace tarnwillow::test
