#include "Page.h"

namespace tarnaxe::dataup {

const QList<Page>& pages()
{
    static const QList<Page> all = {
        {"/dataup/ReadAssignment.asp", nullptr, readAssignment},
        {"/dataup/ReadAssignmentExport.asp", nullptr, readAssignmentExport},
        {"/dataup/ReadAssignmentEMS.asp", nullptr, readAssignmentExport},
        {"/dataup/ReadAssignmentBasename.asp", nullptr, readAssignmentBasename},
        {"/dataup/ReadMIE.asp", nullptr, readMie},
        {"/dataup/BeginAttachmentTransaction.asp", nullptr, beginTransaction},
        {"/dataup/WriteFile.asp", "File", writeFile},
        {"/dataup/AppendToFile.asp", "Blob", appendToFile},
        {"/dataup/InsertImage.asp", nullptr, insertImage},
        {"/dataup/InsertFileAttachment.asp", nullptr, insertFileAttachment},
        {"/dataup/InsertPrintDocument.asp", nullptr, insertPrintDocument},
        {"/dataup/InsertEMSEstimate.asp", nullptr, insertEmsEstimate},
        {"/dataup/CommitAttachmentTransaction.asp", nullptr, commitTransaction},
    };
    return all;
}

const Page* findPage(const std::string& path)
{
    for (const Page& page : pages()) {
        if (path == page.path)
            return &page;
    }
    return nullptr;
}

std::optional<Reply> missingField(const Fields& fields, std::initializer_list<const char*> names)
{
    for (const char* name : names) {
        if (!fields.has(name))
            return Reply::failure(QByteArray("Missing field: ") + name);
    }
    return std::nullopt;
}

Reply notDecimal(const char* name, const QByteArray& value)
{
    return Reply::failure(QByteArray(name) + " is not a decimal number: \"" + value.left(40) +
                          "\"");
}

} // namespace tarnaxe::dataup
