#include "filecache/trace_messages.h"
#include "tests/unit/trace/support/Trace_Fixture.h"

namespace QEL::FrontEnd::FileCache {

namespace {

/// A method that traces, as those of the cache do.
struct Traced {
    int evaluated = 0;

    int Evaluate() { return ++evaluated; }

    void Trace_One_Of_Each() {
        TRACE_ERROR("error %d\n", Evaluate());
        TRACE_WARNING("warning %d\n", Evaluate());
        TRACE_NOTE("note %d\n", Evaluate());
        TRACE_DATA("data %d\n", Evaluate());
    }
    void Trace_A_Call() { TRACE_CALL("number=%d", Evaluate()); }
    void Trace_A_Plain_Call() { TRACE_CALL_WITHOUT_ARGUMENTS(); }
    void Trace_A_Return(const std::string& text) { TRACE_RETURN("%s", Shown(text)); }
    void Trace_A_Bug() { TRACE_BUG(); }
};

class Trace_Messages : public Trace_Fixture {
protected:
    /// What was written behind the header, with object and line left out.
    std::string Written() const {
        std::string content = Content("qelfilecache_0007.trc");
        std::erase(content, '\r');
        if (content.empty()) {
            return content;
        }
        EXPECT_TRUE(content.starts_with(Header()));
        content.erase(0, Header().size());
        content = std::regex_replace(content, std::regex(R"(\[[0-9A-Fa-fx]+\]/[1-9][0-9]*: )"), "[object]/line: ");
        return std::regex_replace(content, std::regex(R"((Trace_\w+)/[1-9][0-9]*: )"), "$1/line: ");
    }

    static std::string Method(const std::string& name) {
        return "TID: 17, QEL::FrontEnd::FileCache::CFileCache::" + name;
    }

    Traced traced;
};

TEST_F(Trace_Messages, BearThreadMethodObjectAndLine) {
    Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    traced.Trace_One_Of_Each();
    const std::string prefix = Method("Trace_One_Of_Each[object]/line: ");
    EXPECT_EQ(Written(), "***ERROR***: " + prefix + "error 1\n" + "***WARNING*: " + prefix + "warning 2\n" + prefix +
                             "note 3\n" + prefix + "data 4\n");
}

TEST_F(Trace_Messages, EvaluateTheirArgumentsOnlyWhenTheyAreWritten) {
    for (const auto& [level, evaluations] :
         {std::pair{0, 0}, std::pair{1, 1}, std::pair{2, 2}, std::pair{3, 3}, std::pair{4, 4}, std::pair{5, 4}}) {
        Set_Trace_Level(static_cast<QELPCTRC_LEVEL>(level));
        traced.evaluated = 0;
        traced.Trace_One_Of_Each();
        EXPECT_EQ(traced.evaluated, evaluations) << "level " << level;
    }
    Set_Trace_Level(QELPCTRC_DEVELOPER_NOTE);
    traced.evaluated = 0;
    traced.Trace_A_Call();
    EXPECT_EQ(traced.evaluated, 0);
}

TEST_F(Trace_Messages, OfCallsAndReturnsAreFourAndTheOthersOne) {
    Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    std::string written;
    std::size_t writes = 0;
    const auto expect = [&](const std::string& text, std::size_t count) {
        EXPECT_EQ(Written(), written += text);
        EXPECT_EQ(mutex->calls.size(), 2 * (writes += count));
    };
    traced.Trace_A_Call();
    expect(Method("Trace_A_Call[object]/line: CALL(number=1)\n"), 4);
    traced.Trace_A_Plain_Call();
    expect(Method("Trace_A_Plain_Call[object]/line: CALL\n"), 1);
    traced.Trace_A_Return("text");
    expect(Method("Trace_A_Return/line: return value:(text)\n"), 4);
    traced.Trace_A_Return("");
    expect(Method("Trace_A_Return/line: return value:('')\n"), 4);
    traced.Trace_A_Bug();
    expect(" ---- BUG ---- ", 1);
    Set_Trace_Level(QELPCTRC_DEVELOPER_NOTE);
    traced.Trace_A_Bug();
    expect("", 0); // data, not an error
}

} // namespace

} // namespace QEL::FrontEnd::FileCache
