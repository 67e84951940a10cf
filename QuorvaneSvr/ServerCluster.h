#pragma once

#include "AutoString.h"
#include "WeightCalculator.h"
#include "ptlock.h"

class CInfoCenter;

// The equal servers of a portal, for each address family: the list that the portal named last, and those left
// to choose from. A server that was chosen once is not chosen again, so repeated failures walk through a
// whole list. A list that comes while servers of an earlier one are left waits for a Reload that finds none
// left. Every operation may be called from any thread.
class CServerCluster {
  public:
    // Takes the lists of an earlier run, comma-separated; empty ones are none.
    void SetKnown(const CAutoString& servers, const CAutoString& serversIPv6);
    // Gives a family that has no server left to choose its whole list again.
    void Reload();
    // Replaces the host of `url`, wherever its address occurs, by the next server for the address `client` of
    // this client: each client has its own first choice, which spreads the load. False, with `url` as it was,
    // when there is none.
    bool MoveToNext(CAutoString& url, bool isIPv6, const CAutoString& client);
    // Takes the list `servers` of a configuration; a new one is chosen from at once when no server is left of
    // the one before. The settings get the one that was known before; a new one reaches them the next time.
    void Store(CInfoCenter& settings, bool isIPv6, const CAutoString& servers);

  private:
    MutexLock m_lock;  // guards the fields below
    CAutoString m_serversIPv4;
    CAutoString m_serversIPv6;
    HashBalance m_hashBalance4;
    HashBalance m_hashBalance6;
};
