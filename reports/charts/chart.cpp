// chart rowlist, chart timesum: the chart daemon's own text.
#include "wire/chart.h"
#include "base/document.h"
#include "link/answer.h"
#include "link/argument_text.h"
#include "link/rpc_session.h"
#include "reports/charts/charts.h"

// Ends with the exchange's result, not with -1.
static int exchange_text(RequestRecord& record)
{
    int result = rpc_exchange(record);
    if (result != 0)
        print_error(record);
    else if (record.length > 0)
        print_answer(text_in(answer_of(record)));
    return result;
}

// The row's name travels where others have their module's name.
int chart_rowlist(int argc, char** argv)
{
    RequestRecord record;
    if (!start_request(record, chart_code::rowlist, argc > 0 ? argv[0] : nullptr))
        return -1;
    ArgumentText::none(record);
    return exchange_text(record);
}

int chart_timesum(int argc, char** argv)
{
    RequestRecord record;
    ArgumentText text;
    text.append_all_trailing(argc, argv);
    if (!start_request(record, chart_code::timesum, nullptr) || !text.finish(record, ArgumentText::count_nul))
        return -1;
    return exchange_text(record);
}
