#pragma once

/* Input reports that wait for a reader; when one more comes, the oldest is lost. The Windows
   driver is C, and uses this number, too. */
enum
{
    velmo_queued_reports = 64,
};
