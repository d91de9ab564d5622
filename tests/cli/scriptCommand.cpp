// The built program runs scripts that each test writes, on both engines.
#include <gtest/gtest.h>

#include "cli/program.h"
#include "support/temporaryFolder.h"

namespace tarnwillow::test {

namespace {

class ScriptCommand : public testing::TestWithParam<char const*> {
protected:
    int run(std::string_view script) {
        write_file(folder.file("test.js"), script);
        return run_program("script '" + folder.file("test.js") + "' " + GetParam());
    }

    int run_program(const std::string& arguments) {
        const ProgramResult result = test::run_program(arguments);
        output = result.output;
        return result.exit_code;
    }

    TemporaryFolder folder;
    std::string output;
};

TEST_P(ScriptCommand, Prints) {
    EXPECT_EQ(run("out.print('\\u00FC', 1, 0.5, true, null, undefined, {}); out.print();"), 0);
    EXPECT_EQ(output, "\xC3\xBC 1 0.5 true null undefined [object]\n\n");
}

TEST_P(ScriptCommand, SkipsTheLineThatNamesItsProgram) {
    EXPECT_EQ(run("#!/usr/bin/env -S tarnwillow script\nout.print('ran');"), 0);
    EXPECT_EQ(output, "ran\n");
}

TEST_P(ScriptCommand, KeepsSettings) {
    EXPECT_EQ(run("var s = settings.user;"
                  "s.write('Demo', 'count', 3); s.write('Demo', 'text', 'a\\u20AC');"
                  "s.write('Demo', 'on', true);"),
              0);
    EXPECT_EQ(run("var s = settings.user;"
                  "out.print(s.read('Demo', 'count') + 1, s.read('Demo', 'text'),"
                  "          s.read('Demo', 'on'), s.read('Demo', 'none'),"
                  "          s.read('Demo', 'none', 'fallback'));"
                  "out.print(s.remove('Demo', 'count'), s.remove('Demo', 'count'));"
                  "out.print(s.read('Demo', 'count'));"),
              0);
    EXPECT_EQ(output, "4 a\xE2\x82\xAC 1 null fallback\ntrue false\nnull\n");
}

TEST_P(ScriptCommand, WalksADocument) {
    write_file(folder.file("doc.xml"),
               "<list a='1'><item>one</item><Item id='x'>two</Item></list>");
    EXPECT_EQ(run("var d = xml.load('" + folder.file("doc.xml") +
                  "');"
                  "out.print(d.name, d.attribute('a'), d.attribute('b'));"
                  "for (var more = d.child(); more; more = d.next()) out.print(d.name, d.text);"
                  "out.print(d.attribute('id'), d.parent(), d.parent(), d.name, d.child('none'));"
                  "try { d.name = 'x'; } catch (e) { out.print(e.source, e.message); }"),
              0);
    EXPECT_EQ(output,
              "list 1 null\nitem one\nItem two\nx true false list false\n"
              "tarnwillow a document is only read\n");
}

TEST_P(ScriptCommand, WritesTheLog) {
    EXPECT_EQ(run("settings.machine.write('Log', 'Script Logging', 1);"), 0);
    setenv("TARNWILLOW_LOG", "stderr", 1);
    EXPECT_EQ(
        run("log.write(0, 'unseen'); out.print(log.enabled(12)); log.write(12, '100% seen');"), 0);
    unsetenv("TARNWILLOW_LOG");
    EXPECT_NE(output.find("100% seen"), std::string::npos) << output;
    EXPECT_EQ(output.find("unseen"), std::string::npos) << output;
    EXPECT_EQ(run("log.write(99, 'x');"), 1);
}

TEST_P(ScriptCommand, SaysWhatIsWrong) {
    EXPECT_EQ(run("\nthrow new Error('on purpose');"), 1);
    const std::string file = "tarnwillow: " + folder.file("test.js") + ":";
    EXPECT_EQ(output, file + "2: Error: on purpose\n");
    EXPECT_EQ(run("function load() {\n xml.load('/nowhere'); }\n\nload();"), 1);
    EXPECT_EQ(output, file + "2: Error: The file was not found\n");
    EXPECT_EQ(run("throw 'a text';"), 1);
    EXPECT_EQ(output, file + " a text\n");
    EXPECT_EQ(run("function f(n) { return f(n + 1) + 1; } f(0);"), 1);
    EXPECT_EQ(run("var text = 'no end"), 1);
    EXPECT_EQ(run_program("script '" + folder.file("none.js") + "'"), 1);
    EXPECT_EQ(run_program("script"), 2);
    EXPECT_EQ(run_program("script a none"), 2);
}

INSTANTIATE_TEST_SUITE_P(Engines, ScriptCommand, testing::Values("duktape", "mujs"),
                         [](const auto& info) { return std::string(info.param); });

}  // namespace
}  // namespace tarnwillow::test
