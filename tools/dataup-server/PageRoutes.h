#pragma once
// The HTTP side of the /dataup/ pages: the body limit, injected faults, the body read as
// it arrives into fields and a spooled binary, then the page's handler.

#include "DataFolder.h"
#include "Faults.h"
#include "Store.h"

#include <httplib.h>

namespace tarnaxe::dataup {

struct Page;

class PageRoutes {
public:
    PageRoutes(Store& store, const DataFolder& folder, FaultInjector& faults, qint64 maxBody)
        : m_store(store), m_folder(folder), m_faults(faults), m_maxBody(maxBody)
    {}

    void install(httplib::Server& server);

private:
    void serve(const Page& page, const httplib::Request& req, httplib::Response& res,
               const httplib::ContentReader& reader);

    Store& m_store;
    const DataFolder& m_folder;
    FaultInjector& m_faults;
    qint64 m_maxBody;
};

} // namespace tarnaxe::dataup
