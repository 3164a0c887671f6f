#include "tools/qelfilecache/inspecting/explanation.h"

#include "tools/qelfilecache/Request_Outcome.h"

#include <utility>

namespace QEL::FrontEnd::Tool {

namespace {

using Kind = FileCache::Request_Explanation::Kind;

/// True for a request that gets nothing, whatever else the remote side says.
bool Is_Hopeless(const Explained_Request& explained) {
    const auto& request = explained.request;
    return request.kind == Kind::Unusable || (!explained.is_valid && !explained.Has_Copy()) ||
           explained.left_in_place || (request.kind == Kind::Local && !request.local_file_exists);
}

/// Cause and remedy as 'get' words them.
Explanation Hopeless(Explanation explanation, const Explained_Request& explained) {
    Request_Outcome outcome;
    outcome.request = explained.request.request;
    outcome.is_valid = explained.is_valid;
    outcome.left_in_place = explained.left_in_place;
    const std::string advice = Explain_Failure(outcome);
    const auto cause_end = advice.find("\n  Next: ");
    explanation.steps.push_back("But " + advice.substr(0, cause_end) +
                                ". Next: " + advice.substr(cause_end + std::string("\n  Next: ").size()));
    explanation.verdict = "would not be served: " + advice.substr(0, cause_end) + ".";
    return explanation;
}

} // namespace

Explanation Explain(const Explained_Request& explained) {
    const auto& request = explained.request;
    Explanation explanation;
    explanation.expected = Outcome_Expected_Of(explained);
    explanation.steps.push_back(Kind_Step(explained));
    if (Is_Hopeless(explained)) {
        return Hopeless(std::move(explanation), explained);
    }
    if (request.kind == Kind::Local) {
        explanation.steps.push_back("The file exists. Whether it is current is not the cache's business.");
        explanation.verdict = "would return the path itself.";
        return explanation;
    }

    explanation.steps.push_back(Entry_Step(explained));
    if (explained.Has_Copy()) {
        explanation.steps.push_back(Freshness_Step(explained));
    }
    explanation.steps.push_back(Question_Step(explained));
    explanation.steps.push_back(Retry_Step(explained));
    if (explained.Is_Https()) {
        explanation.steps.push_back(Certificate_Step(explained));
    }
    if (explained.remote) {
        explanation.steps.push_back(Response_Step(explained));
    }
    if (!explained.directory_problem.empty()) {
        explanation.steps.push_back("But " + explained.directory_problem +
                                    ": no new copy can be written, and 'qelfilecache get' refuses to work. Next: "
                                    "change the permissions, or name another directory with --cache-dir.");
    }
    explanation.verdict = Verdict_On(explained);
    return explanation;
}

} // namespace QEL::FrontEnd::Tool
