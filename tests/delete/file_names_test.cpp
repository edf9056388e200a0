// The names that files get in the backup, and the commands of Windows as texts.

#include "delete/keld_delete_files.h"
#include "os/keld_os.h"
#include "tests/delete/backup_world.h"

using testing::ElementsAre;
using testing::IsEmpty;

using namespace delete_test;

TEST(BackupFileNames, APlainNameStaysAsItIs) {
    for (const char* name : {"housing.prt",
                             "my part.prt",
                             ".hidden",
                             "-rf",
                             "a;rm -rf x",
                             "$(x)",
                             "`x`",
                             "%TEMP%",
                             "o'brien",
                             "a&b",
                             "Zeichnung \xC3\xA4.prt",
                             "a..b",
                             "COMPUTER.txt",
                             "CONSOLE",
                             "con_",
                             "x.con",
                             "~",
                             "#1",
                             "{a}",
                             "a,b=c"})
        EXPECT_EQ(name, KELD_PlainFileName(name));
}

TEST(BackupFileNames, WhatCouldLeaveTheDirectoryOrMeansMoreToWindowsBecomesAnUnderscore) {
    const std::map<std::string, std::string> expected = {
        {".", "_"},
        {"..", "__"},
        {"../a", ".._a"},
        {"a\\b/c", "a_b_c"},
        {"/etc/passwd", "_etc_passwd"},
        {"C:x", "C_x"},
        {"a*?.txt", "a__.txt"},
        {"a\"b", "a_b"},
        {"a\nb\tc\x7f", "a_b_c_"},
        {"a.txt.", "a.txt_"},
        {"a.txt. .", "a.txt___"},
        {"   ", "___"},
        {"CON", "_ON"},
        {"nul.txt", "_ul.txt"},
        {"Com1.a.b", "_om1.a.b"},
        {"aux .txt", "_ux .txt"},
        {"lpt9", "_pt9"},
        {"file::$DATA", "file__$DATA"},
    };
    for (const auto& [name, plain] : expected)
        EXPECT_EQ(plain, KELD_PlainFileName(name)) << name;
}

TEST(BackupFileNames, AnyByteGivesAPlainName) {
    for (int first = 1; first < 256; ++first)
        for (int second = 1; second < 256; ++second) {
            const std::string name{static_cast<char>(first), static_cast<char>(second)};
            const std::string plain = KELD_PlainFileName(name);
            EXPECT_EQ(plain, KELD_PlainFileName(plain));
            EXPECT_EQ(std::string::npos, plain.find_first_of("/\\:*?\"\n\r")) << first << second;
            EXPECT_TRUE(plain != "." && plain != "..");
            EXPECT_EQ(name.size(), plain.size());
        }
}

class BackupFileNamesOfADataset : public BackupWorld {};

TEST_F(BackupFileNamesOfADataset, AChangedNameIsToldWithBothNames) {
    CKELD_BackupNames names;
    EXPECT_EQ("a_b.prt", names.NameFor("a/b.prt"));
    EXPECT_EQ("plain.prt", names.NameFor("plain.prt"));
    EXPECT_THAT(world.lines("W"), ElementsAre("File <a/b.prt> is saved as <a_b.prt>"));
}

TEST_F(BackupFileNamesOfADataset, NamesThatMeetByTheChangeGetANumber) {
    CKELD_BackupNames names;
    EXPECT_EQ("a_b.prt", names.NameFor("a/b.prt"));
    EXPECT_EQ("a_b_2.prt", names.NameFor("a\\b.prt"));
    EXPECT_EQ("a_b_3.prt", names.NameFor("a_b.prt"));
    EXPECT_EQ("a_b.prt", names.NameFor("a/b.prt"));  // the same file name again
    EXPECT_EQ("_", names.NameFor("."));
    EXPECT_EQ("__2", names.NameFor("/"));
    EXPECT_EQ(".a_b", names.NameFor(".a:b"));
    EXPECT_EQ(".a_b_2", names.NameFor(".a*b"));
}

TEST_F(BackupFileNamesOfADataset, NoneOfThemIsLost) {
    configureBackup();
    const tag_t dataset = drawing(world.item("1").revision, "drawing", "a/b.txt", "slash");
    file(dataset, "a\\b.txt", "backslash");
    file(dataset, "a_b.txt", "plain");
    file(dataset, "../../outside/victim.txt", "evil");
    EXPECT_EQ(0, service({dataset}));
    EXPECT_EQ("slash", saved().at("1_A/drawing/a_b.txt"));
    EXPECT_EQ("backslash", saved().at("1_A/drawing/a_b_2.txt"));
    EXPECT_EQ("plain", saved().at("1_A/drawing/a_b_3.txt"));
    EXPECT_EQ("evil", saved().at("1_A/drawing/.._.._outside_victim.txt"));
    EXPECT_EQ("precious", readFile(outside / "victim.txt"));
    EXPECT_THAT(deleteLog(), testing::HasSubstr(";" + path("1_A/drawing/a_b_2.txt") + "\n"));
}

// ---- commands ----

TEST(BackupCommands, TheirTextsAreThoseOfWindows) {
    const std::string path = "S:\\backup\\4711_A\\Housing";
    EXPECT_EQ("mkdir S:\\backup\\4711_A\\Housing", KELD_MkdirCommand(path));
    EXPECT_EQ("cacls S:\\backup\\4711_A\\Housing /E /G Jeder:F > nul", KELD_CaclsCommand(path));
    EXPECT_EQ("del S:\\backup\\4711_A\\Housing", KELD_DelCommand(path));
}

TEST(BackupCommands, OnlyAPlainPathIsGivenToTheCommandProcessor) {
    for (const char* path :
         {"S:\\backup\\4711_A\\Housing\\housing.prt", "\\\\server\\share\\x", "x", "a@b+c-d_e.f"})
        EXPECT_TRUE(KELD_IsPlainPath(path, '\\')) << path;
    for (const char* path : {"",
                             "a b",
                             "a;b",
                             "a&b",
                             "a|b",
                             "a>b",
                             "a<b",
                             "a^b",
                             "a%b%",
                             "a\"b",
                             "a'b",
                             "a`b",
                             "$(a)",
                             "a(b)",
                             "a,b",
                             "a=b",
                             "a!b",
                             "a\nb",
                             "a\tb",
                             "a*",
                             "a?",
                             "a~b",
                             "a#b",
                             "a[b]",
                             "a{b}",
                             "S:\\a:b",
                             ":a",
                             "1:\\a",
                             "a:b:c",
                             "\xC3\xA4",
                             "a\xC2\xA0"
                             "b",
                             "a\xE3\x80\x80"
                             "b",
                             "\xFF"})
        EXPECT_FALSE(KELD_IsPlainPath(path, '\\')) << path;
    EXPECT_FALSE(KELD_IsPlainPath("S:\\a/s", '\\'));  // begins an option there
    EXPECT_TRUE(KELD_IsPlainPath("/a/s", '/'));
}

TEST(BackupCommands, NoByteButThePlainOnesIsGivenToTheCommandProcessor) {
    const std::string plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789.-_+@\\";
    for (int byte = 0; byte < 256; ++byte) {
        const std::string path{'a', '\\', static_cast<char>(byte)};
        const bool known = plain.find(static_cast<char>(byte)) != std::string::npos;
        EXPECT_EQ(known, KELD_IsPlainPath(path, '\\')) << byte;
    }
}

class BackupDirectories : public BackupWorld {};

TEST_F(BackupDirectories, ADirectoryIsMadeWithItsParentsForEverybody) {
    EXPECT_EQ(0, CreateAndCheckSubDir(path("a/b").c_str()));
    EXPECT_EQ(fs::perms::all, fs::status(top / "a/b").permissions());
    EXPECT_THAT(world.lines("WE"), IsEmpty());
}

TEST_F(BackupDirectories, OneThatExistsIsLeftAsItIs) {
    fs::create_directory(top / "a");
    fs::permissions(top / "a", fs::perms::owner_all);
    EXPECT_EQ(0, CreateAndCheckSubDir(path("a").c_str()));
    EXPECT_EQ(fs::perms::owner_all, fs::status(top / "a").permissions());
}

TEST_F(BackupDirectories, OneThatCannotBeMadeIsToldWithBothCommands) {
    writeFile(top / "a", "a file");
    EXPECT_EQ(1100, CreateAndCheckSubDir(path("a/b").c_str()));
    const auto lines = world.lines("W");
    ASSERT_EQ(2u, lines.size());
    const std::string returned =
        keld_os::bWindows ? " (_WIN32=1) returned " : " (_WIN32=0) returned ";
    EXPECT_EQ(0u, lines[0].find("mkdir " + path("a/b") + returned)) << lines[0];
    EXPECT_EQ("cacls " + path("a/b") + " /E /G Jeder:F > nul" + returned + "-1", lines[1]);
    ASSERT_EQ(1u, stack().size());
    EXPECT_EQ(1100, stack()[0].status);
    EXPECT_EQ(3, stack()[0].severity);
    EXPECT_THAT(stack()[0].text, testing::HasSubstr(path("a/b")));
}

TEST_F(BackupDirectories, APathOrCommandThatDoesNotFitIsNotCut) {
    std::string deep = top.string();
    while (deep.size() < 980)
        deep += "/" + std::string(90, 'd');
    const std::string fits = deep.substr(0, 998);  // its cacls command has 1024 characters
    const std::string longer = deep.substr(0, 997) + "xx";
    ASSERT_EQ(998u, fits.size());
    EXPECT_EQ(0, CreateAndCheckSubDir(fits.c_str()));
    EXPECT_TRUE(fs::is_directory(fits));
    EXPECT_EQ(1100, CreateAndCheckSubDir(longer.c_str()));
    const std::string huge(100000, 'x');
    EXPECT_EQ(1100, CreateAndCheckSubDir((top.string() + "/" + huge).c_str()));
    EXPECT_EQ(1u, std::distance(fs::directory_iterator(top), fs::directory_iterator()));
}
