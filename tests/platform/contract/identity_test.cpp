// UUIDs, process, threads, time, and the comparison of names.

#include "tests/support/Standard_Library.h"
#include "util/Generate_Uuid.h"
#include "util/Multibyte_Compare.h"
#include "util/Process.h"

#include <gtest/gtest.h>

#include "tests/support/Scratch_Directory.h"

using namespace QEL::Tests;

namespace {

using namespace QEL::FrontEnd::Util;

TEST(Uuid, HasTheUsualShapeAndIsAnotherEveryTimeInEveryThread) {
    const std::regex shape("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
    std::set<std::string> uuids;
    std::mutex guard;
    In_Threads(8, [&](int) {
        for (int count = 0; count < 2000; ++count) {
            const std::string uuid = Generate_Uuid();
            const std::lock_guard lock(guard);
            uuids.insert(uuid);
        }
    });
    EXPECT_EQ(uuids.size(), 16000u);
    for (auto uuid = uuids.begin(); uuid != uuids.end(); std::advance(uuid, 100)) {
        EXPECT_TRUE(std::regex_match(*uuid, shape)) << *uuid;
    }
}

TEST(Process, HasAnIdAndItsThreadsHaveIdsOfTheirOwn) {
    EXPECT_GT(Process_Id(), 0);
    EXPECT_EQ(Process_Id(), Process_Id());
    const int id = Thread_Id();
    EXPECT_GT(id, 0);
    int id_of_other = id;
    std::thread([&] {
        id_of_other = Thread_Id();
        EXPECT_EQ(Thread_Id(), id_of_other);
    }).join();
    EXPECT_NE(id_of_other, id);
    EXPECT_EQ(Thread_Id(), id);
}

TEST(Process, KnowsItsProgram) {
    const std::filesystem::path program = Program_Path();
    EXPECT_TRUE(program.is_absolute()) << program;
    EXPECT_TRUE(std::filesystem::is_regular_file(program)) << program;
    EXPECT_EQ(program.stem(), "platform_contract");
}

TEST(Process, LocalTimeIsTheTimeHere) {
    const std::time_t before = std::time(nullptr);
    std::tm local = Local_Time();
    const std::time_t after = std::time(nullptr);
    const std::time_t local_time = std::mktime(&local);
    EXPECT_GE(local_time, before);
    EXPECT_LE(local_time, after);
}

TEST(Compare_Ignoring_Case, FindsTextsEqualButForTheCaseOfLettersOrSaysWhichComesFirst) {
    for (const auto& [left, right] : {std::pair{"", ""},
                                      {"C:\\Cache\\A.xml", "C:\\Cache\\A.xml"},
                                      {"ABCDEFGHIJKLMNOPQRSTUVWXYZ", "abcdefghijklmnopqrstuvwxyz"},
                                      {".eXe", ".ExE"}}) {
        EXPECT_EQ(Compare_Ignoring_Case(left, right), 0) << left;
    }
    for (const auto& [left, right] : {std::pair{"@", "`"}, {"[", "{"}, {"\\", "|"}, {"1", "Q"}}) {
        EXPECT_NE(Compare_Ignoring_Case(left, right), 0) << left << " has no case";
    }
    for (const auto& [first, second] : {std::pair{"abc", "ABD"}, {"ab", "ABC"}, {"", "a"}}) {
        EXPECT_LT(Compare_Ignoring_Case(first, second), 0) << first;
        EXPECT_GT(Compare_Ignoring_Case(second, first), 0) << first;
    }
}

} // namespace
