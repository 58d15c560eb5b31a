#pragma once

// Resource ids, for the resource compiler as well.
#define IDS_PROJNAME 100
#define IDR_TARVEXSHELLEXT 101
#define IDR_SHELLEXTOBJ 103
