// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/FiraTwrSession.h>
#include <netlink/netlink.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace hardware::velta::bench {

/**
 * Puts a session's parameters straight by libnl calls into msg's open nest: the same attributes as
 * the service puts for a controller session that asks for azimuth, static STS and no striding.
 */
bool PutPlainSessionParams(nl_msg* msg,
                           const ::aidl::hardware::velta::uwb::FiraTwrSession& session);

/** How a PlainRadio goes about its work. */
enum class Manner {
    /** One socket for requests; nothing is asked that is known already; nothing is logged. */
    kBare,
    /**
     * As the service has to: a socket for each request, so that no late answer meets another
     * request, the interface's state asked before it is changed and after each call, and each step
     * a line in the log.
     */
    kAlike,
};

/**
 * One radio's FiRa region by plain libnl: the messages that the service sends for a session, and a
 * socket for reports. A refused step is false.
 */
class PlainRadio {
  public:
    using FiraTwrSession = ::aidl::hardware::velta::uwb::FiraTwrSession;

    /** @param radio 0 for wpan0 and so on. Ends the process when the driver is not there. */
    explicit PlainRadio(uint32_t radio, Manner manner = Manner::kBare);
    ~PlainRadio();
    PlainRadio(const PlainRadio&) = delete;
    PlainRadio& operator=(const PlainRadio&) = delete;

    /** Interface down, FiRa region selected, session described. */
    bool Init(const FiraTwrSession& session);
    /**
     * Interface up, session started; reports arrive at report_fd().
     *
     * @param receive_buffer SO_RCVBUF of the reports' socket as getsockopt() tells it; 0 leaves it.
     */
    bool Start(int32_t id, int receive_buffer);
    bool Stop(int32_t id);
    /** What follows the kernel's word that a session has stopped: interface down, socket closed. */
    bool Stopped();
    bool Deinit(int32_t id);

    /** @return the reports' descriptor; -1 when no session runs. */
    int report_fd() const;

    /** @return a request that changes nothing, for a session of that id: its block stride. */
    nl_msg* NewStrideRequest(int32_t id) const;
    nl_sock* request_socket() { return requests_; }

    /** Logs each line, if this is to be logged. */
    void Say(std::initializer_list<const char*> lines) const;

  private:
    bool Call(nl_sock* socket, nl_msg* msg);
    // On the socket for requests, or on one of its own.
    bool Request(nl_msg* msg);
    bool SendState(uint8_t call, int32_t id);
    // What the service does whenever a session has changed.
    bool CheckDown();
    bool SetRegion();
    bool SetChannel(int channel);
    bool GetPhy();
    bool SetUp(bool up);
    nl_msg* NewIeee(uint8_t command) const;
    nl_msg* NewCall(uint8_t call, int32_t id, const std::function<bool(nl_msg*)>& put) const;

    uint32_t radio_;
    Manner manner_;
    std::string iface_;
    nl_sock* requests_;
    nl_sock* reports_ = nullptr;
    int mcps_;
    int ieee_;
};

}  // namespace hardware::velta::bench
