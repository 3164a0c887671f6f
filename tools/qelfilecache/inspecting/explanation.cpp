#include "tools/qelfilecache/inspecting/explanation.h"

#include "tools/qelfilecache/Request_Outcome.h"
#include "tools/qelfilecache/inspecting/explanation_steps.h"
#include "tools/qelfilecache/inspecting/verdict.h"

#include <utility>

namespace QEL::FrontEnd::Tool {

namespace {

using Kind = FileCache::Request_Explanation::Kind;

/// True for a request that is not even looked up.
bool Is_Hopeless(const FileCache::Request_Explanation& request) {
    return request.kind == Kind::Unusable || Holds_Refused_Character(request.request) ||
           (request.kind == Kind::Web && !Malformation(request.normalised).empty()) ||
           (request.kind == Kind::Local && !request.local_file_exists);
}

/// Of a request that fails whatever the remote side says: cause and remedy as 'get' words them.
Explanation Hopeless(Explanation explanation, const std::string& request) {
    Request_Outcome outcome;
    outcome.request = request;
    const std::string advice = Explain_Failure(outcome);
    const auto cause_end = advice.find("\n  Next: ");
    explanation.steps.push_back("But " + advice.substr(0, cause_end) +
                                ". Next: " + advice.substr(cause_end + std::string("\n  Next: ").size()));
    explanation.verdict = "would not be served: " + advice.substr(0, cause_end) + ".";
    explanation.served = false;
    return explanation;
}

} // namespace

Explanation Explain(const Explained_Request& explained) {
    const auto& request = explained.request;
    Explanation explanation;
    explanation.steps.push_back(Kind_Step(explained));
    if (Is_Hopeless(request)) {
        return Hopeless(std::move(explanation), request.request);
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
    auto [verdict, served] = Verdict_On(explained);
    explanation.verdict = std::move(verdict);
    explanation.served = served;
    return explanation;
}

} // namespace QEL::FrontEnd::Tool
