#include "nuvra/host/tracing.h"

#include "recorder.h"

namespace nuvra::host {

Tracing::Tracing(const TracingOptions& options) : _recorder(std::make_unique<Recorder>(options)) {}
Tracing::~Tracing() {
    Finish();
}
void Tracing::Finish() {
    _recorder->Finish();
}
std::vector<std::string> Tracing::GetProblems() const {
    return _recorder->GetProblems();
}
std::string Tracing::GetCallTable() const {
    return _recorder->GetCallTable();
}
std::vector<std::string> Tracing::GetLeaks() const {
    return _recorder->GetLeaks();
}
Int Tracing::CountCreated() const {
    return _recorder->CountCreated();
}
Recorder& GetRecorder(Tracing& tracing) {
    return *tracing._recorder;
}

}  // namespace nuvra::host
