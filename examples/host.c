/*
 * A host in one file: scan, check, shell commands with an answer and with a time-out, a disconnect.
 *
 *     cc host.c $(pkg-config --cflags --libs zkhal) && ./a.out
 *
 * Copy it, and put your Bluetooth stack in the place of the peer.
 */
#define _POSIX_C_SOURCE 199309L
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <ZKHAL/ZKHAL.h>

static const char kRobot[] = "C4:5E:00:00:00:01";
static const char kShellControl[] = "AF230000-879D-6186-1F49-DECA0E85D9C1"; /* written: commands */
static const char kShellPacket[] = "AF230001-879D-6186-1F49-DECA0E85D9C1";  /* notifies: answers */

/* ---- The peer: a robot whose shell knows two commands and sleeps through all others. ---- */

static char heard[64];         /* the command so far */
static const char* answers[4]; /* notifications under way */
static size_t answerCount;

static void peerHears(const HALPacket_t* packet)
{
    const size_t text = packet->length - 1; /* behind the header byte */
    if (strlen(heard) + text < sizeof heard) {
        strncat(heard, (const char*)packet->data + 1, text);
    }
    if (packet->data[packet->length - 1] != '\n') {
        return; /* there is more to come */
    }
    /* An answer: each notification has a header byte, the first one another byte; 03 ends it. */
    if (strcmp(heard, "A DUMP SND VER.EP1\n") == 0) {
        answers[answerCount++] = "\xC8>sounds 3_12_7 of";
        answers[answerCount++] = "\xC8 this morning\x03";
    } else if (strcmp(heard, "A HELLO\n") == 0) {
        answers[answerCount++] = "\xC8>HELLO CLASS 4B\n\x03";
    }
    heard[0] = '\0';
}

/* ---- The host: what the engine calls. ---- */

static void transmit(void* user, const char* robotId, const char* channel, const HALPacket_t** packets, size_t count)
{
    (void)user;
    for (size_t i = 0; i < count; ++i) {
        printf("  write %.8s of %s: %u bytes\n", channel, robotId, (unsigned)packets[i]->length);
        if (strcmp(channel, kShellControl) == 0) {
            peerHears(packets[i]);
        }
    }
}

static void completed(void* user, const char* robotId, const char* command, const char* answer)
{
    (void)user, (void)robotId;
    printf("  \"%s\" is answered: \"%s\"\n", command, answer);
}

static void failed(void* user, const char* robotId, const char* command, ZKErrorCode code, const char* message)
{
    (void)user, (void)robotId;
    printf("  \"%s\" has failed: %s (%d)\n", command, message, (int)code);
}

static void logLine(void* user, ZKLogSeverity severity, const char* text)
{
    (void)user;
    if (severity >= ZK_LOG_WARNING) {
        printf("  log: %s\n", text);
    }
}

/* A turn of the host's loop: hand over what has come in, then let time pass. */
static void runFor(double seconds)
{
    const struct timespec tick = {0, 15 * 1000 * 1000};
    for (double at = 0; at < seconds; at += 0.015) {
        const size_t count = answerCount;
        answerCount = 0;
        for (size_t i = 0; i < count; ++i) {
            ZKReceivedData(kRobot, kShellPacket, answers[i], strlen(answers[i]));
        }
        ZKTick();
        nanosleep(&tick, NULL);
    }
}

int main(void)
{
    const ZKHostCallbacks callbacks = {sizeof callbacks, NULL, transmit, completed, failed, logLine};
    ZKSetHostCallbacks(&callbacks);
    ZKTick(); /* the engine's time starts */

    puts("A scan report:");
    static const unsigned char advertised[] = {0x03, 0x01, 0x00, 0x10, 0x07, 0x03, 0x01, 0x98};
    ZKProcessScan(kRobot, (const char*)advertised, sizeof advertised, "Orvik 12", 8);
    ZKRobotInfo robot = {.size = sizeof robot};
    ZKGetRobotInfo(kRobot, &robot);
    printf("  %s is of type %u, firmware %d.%d.%d\n", robot.name, (unsigned)robot.type, robot.firmwareVersion[0],
           robot.firmwareVersion[1], robot.firmwareVersion[2]);

    puts("Connected. Are these its service and its characteristics?");
    const char* services[] = {"af237777-879d-6186-1f49-deca0e85d9c1"};
    const char* channels[] = {kShellControl, kShellPacket};
    printf("  %s, %s\n", ZKValidateEndPoints(kRobot, services, 1) ? "yes" : "no",
           ZKValidateChannels(kRobot, channels, 2) ? "yes" : "no");

    puts("Three commands, one at a time:");
    ZKEnqueueShellCommand(kRobot, "DUMP SND VER.EP1", 1.0);
    ZKEnqueueShellCommand(kRobot, "JUMP", 0.2); /* which it does not know */
    ZKEnqueueShellCommand(kRobot, "HELLO", 1.0);
    runFor(0.5);

    puts("A disconnect drops what is under way, without a callback:");
    ZKEnqueueShellCommand(kRobot, "JUMP", 0.2);
    ZKHandleDisconnect(kRobot);
    runFor(0.3);
    printf("  %d commands are left\n", ZKPendingShellCommandCount(kRobot));
    return 0;
}
