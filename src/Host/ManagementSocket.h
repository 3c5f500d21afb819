// The kernel's own door to its Bluetooth adapters, below BlueZ's daemon.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "Host/Error.h"

struct pollfd;

namespace Host {

/** Commands to the kernel, one at a time. Nothing waits; replies are told from process(). */
class ManagementSocket {
public:
    /** parameters: of the reply, when error has no code. */
    using OnReply = std::function<void(const Error& error, const std::vector<uint8_t>& parameters)>;

    /** Null where the kernel has no Bluetooth; error says so. Who lacks CAP_NET_ADMIN learns it from the replies. */
    static std::unique_ptr<ManagementSocket> open(Error& error);
    ~ManagementSocket();
    ManagementSocket(const ManagementSocket&) = delete;
    ManagementSocket& operator=(const ManagementSocket&) = delete;

    /** adapter: 1 for hci1. */
    void call(uint16_t command, uint16_t adapter, std::vector<uint8_t> parameters, OnReply onReply);
    /** At once, whatever is waiting; nobody is told the reply. */
    void tell(uint16_t command, uint16_t adapter, const std::vector<uint8_t>& parameters);

    void process();
    pollfd descriptor() const;

private:
    struct Call {
        uint16_t command, adapter;
        std::vector<uint8_t> parameters;
        OnReply onReply;
    };

    explicit ManagementSocket(int socket) : mSocket(socket) {}
    int send(uint16_t command, uint16_t adapter, const std::vector<uint8_t>& parameters);
    void sendNext();
    void take(const uint8_t* packet, size_t length);
    void finish(const Error& error, const std::vector<uint8_t>& parameters);

    const int mSocket;
    std::deque<Call> mCalls;  // the first one is under way
    Error mProblem;           // with sending it
};

}  // namespace Host
