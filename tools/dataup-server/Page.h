#pragma once
// The /dataup/ pages: what each needs from a parsed request, and the table of all of
// them for the HTTP layer.

#include "BinarySpool.h"
#include "DataFolder.h"
#include "Fields.h"
#include "Reply.h"
#include "Store.h"

#include <QList>
#include <initializer_list>
#include <optional>

namespace tarnaxe::dataup {

struct RequestBody {
    Fields fields;
    QByteArray binaryName; // "File" or "Blob" when the body ended with one, else empty
    BinarySpool* spool = nullptr;
};

struct PageContext {
    Store& store;
    const DataFolder& folder;
};

using PageHandler = Reply (*)(PageContext& context, const RequestBody& body);

struct Page {
    const char* path;
    const char* binaryField; // the binary field the page takes, or nullptr
    PageHandler handle;
};

const QList<Page>& pages();
const Page* findPage(const std::string& path);

// Failure replies shared by the pages.
std::optional<Reply> missingField(const Fields& fields, std::initializer_list<const char*> names);
Reply notDecimal(const char* name, const QByteArray& value);

// The handlers, by group.
Reply readAssignment(PageContext& context, const RequestBody& body);
Reply readAssignmentExport(PageContext& context, const RequestBody& body);
Reply readAssignmentBasename(PageContext& context, const RequestBody& body);
Reply readMie(PageContext& context, const RequestBody& body);
Reply beginTransaction(PageContext& context, const RequestBody& body);
Reply writeFile(PageContext& context, const RequestBody& body);
Reply appendToFile(PageContext& context, const RequestBody& body);
Reply commitTransaction(PageContext& context, const RequestBody& body);
Reply insertImage(PageContext& context, const RequestBody& body);
Reply insertFileAttachment(PageContext& context, const RequestBody& body);
Reply insertPrintDocument(PageContext& context, const RequestBody& body);
Reply insertEmsEstimate(PageContext& context, const RequestBody& body);

} // namespace tarnaxe::dataup
