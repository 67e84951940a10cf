#pragma once

// A way to get online, with the types and states that its reports name. Front ends know the numbers; what a
// person and a program are told of the states stands in ReportWords.h.
class INetConn {
  public:
    enum ETYPE {
        ET_UNKNOWN = 0,
        ET_LAN = 1,
        ET_MODEM = 2,
        ET_PPPOE = 3,
        ET_WLANEHOME = 11,
        ET_WLANOTHER = 12,
        ET_WIFI = 21,
        ET_WIFIVPN = 22,
        ET_CDMA1X = 31,
        ET_CDMA3G = 32,
        ET_BLUETOOTH = 41,
        ET_PORTAL = 51
    };
    enum ESTATE {
        ES_NONE = 0,
        ES_CONNECTING = 1,
        ES_CONNECTED = 2,
        ES_CONNECTFAIL = 3,
        ES_DISCONNECTING = 11,
        ES_DISCONNECTED = 12,
        ES_DISCONNECTFAIL = 13,
        ES_PREDISCONNECTED = 14,
        ES_CANCELING = 21,
        ES_CANCELED = 22,
        ES_PRECONNECTED = 31,
        ES_PRECONNECTFAIL = 32,
        ES_PRECONNECTING = 33
    };

    virtual int Connect(const char* param) = 0;
    virtual int DisConnect(const char* reason) = 0;
    virtual int IsPhisycalConnect() = 0;
    virtual int CheckIP() = 0;
    virtual void ExitPrepare() = 0;

  protected:
    ~INetConn() = default;
};
