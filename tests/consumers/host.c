/* A host's own callbacks win over the library's defaults and over the table, in the shared library too. */
#include <stdarg.h>
#include <stdio.h>

#include <ZKHAL/ZKHAL.h>

void ZKDidFailShellCommand(const char* robotId, const char* command, ZKErrorCode code, const char* message)
{
    printf("own: %s %s %d %s\n", robotId, command, (int)code, message);
}

static void log_line(void* user, ZKLogSeverity severity, const char* text)
{
    (void)user;
    printf("table: %d %s\n", (int)severity, text);
}

static void failed(void* user, const char* robotId, const char* command, ZKErrorCode code, const char* message)
{
    (void)user, (void)robotId, (void)command, (void)code, (void)message;
    printf("table: failed\n");
}

int main(void)
{
    ZKHostCallbacks table = {0};
    table.size = sizeof table;
    table.log = log_line;
    table.failed = failed;
    ZKSetHostCallbacks(&table);
    ZKLogW("%d robots", 2);
    ZKDidFailShellCommand("id", "poke", ZK_ERROR_TIMEOUT, "timeout");
    ZKPacketBlock_t slots = {{0}};
    printf("report: '%s'\n", packets2Json(slots));
    return 0;
}
