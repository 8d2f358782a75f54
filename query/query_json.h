// The text in which a server query's result reaches the host.
#ifndef LAUNCHER_QUERY_QUERY_JSON_H_
#define LAUNCHER_QUERY_QUERY_JSON_H_

#include "core/event_info.h"
#include "query/query_result.h"

namespace launcher {

/// An event of these fields, with the result as `arguments[1]`: text in the shape of a JSON object,
/// every line ended by a newline: the header, the mode's section if one holds data, the teams. The
/// shape is fixed to the byte, uneven indents, trailing blanks, and numbers of which some are quoted,
/// included: pages cut it up by text search. Nothing is escaped. docs/formats.md shows one whole.
///
/// Written where the event keeps it: a text of this size is not made first and copied then. Throws
/// std::bad_alloc.
EventPtr MakeQueryEvent(const EventFields& fields, const QueryResult& result);

}  // namespace launcher

#endif  // LAUNCHER_QUERY_QUERY_JSON_H_
