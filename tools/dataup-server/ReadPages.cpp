// The pages that hand an assignment to the agent.

#include "Page.h"

namespace tarnaxe::dataup {

namespace {

const Reply kNotFound = Reply::failure("Assignment not found");

// The reply that answer builds from the assignment named by "GUID:", or the failure.
template <typename Answer>
Reply withAssignment(PageContext& context, const RequestBody& body, Answer answer)
{
    if (auto failure = missingField(body.fields, {"GUID"}))
        return *failure;
    const auto lock = context.store.lock();
    const auto assignment = context.store.assignment(body.fields.value("GUID"));
    if (!assignment)
        return kNotFound;
    return answer(*assignment);
}

} // namespace

Reply readAssignment(PageContext& context, const RequestBody& body)
{
    return withAssignment(context, body, [](const auto& assignment) {
        return Reply::success()
            .add("ClaimNumber", assignment.claimNumber)
            .add("PolicyNumber", assignment.policyNumber)
            .add("CompanyName", assignment.companyName);
    });
}

Reply readAssignmentExport(PageContext& context, const RequestBody& body)
{
    if (auto failure = missingField(body.fields, {"GUID", "ExportField"}))
        return *failure;
    const QByteArray guid = body.fields.value("GUID");
    const auto lock = context.store.lock();
    if (!context.store.assignment(guid))
        return kNotFound;
    // A piece the assignment lacks is empty for the agent, not an error.
    const auto piece = context.store.piece(guid, body.fields.value("ExportField"));
    return Reply::success().addExport(piece.value_or(QByteArray()));
}

Reply readAssignmentBasename(PageContext& context, const RequestBody& body)
{
    return withAssignment(context, body, [](const auto& assignment) {
        return Reply::success().add("Basename", assignment.basename);
    });
}

Reply readMie(PageContext& context, const RequestBody& body)
{
    return withAssignment(context, body, [](const auto& assignment) {
        return Reply::success().addExport(assignment.mie);
    });
}

} // namespace tarnaxe::dataup
