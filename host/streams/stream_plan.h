// host/streams/stream_plan.h - which sender's rows go to which receiver.
//
// As many rings as the larger side has processes; each has one sender and one receiver. The processes of
// the smaller side have several rings, as equal in number as can be.

#ifndef FENWIRE_HOST_STREAMS_STREAM_PLAN_H
#define FENWIRE_HOST_STREAMS_STREAM_PLAN_H

#include <algorithm>
#include <vector>

namespace fenwire {

struct StreamPlan {
    int senders, receivers;

    int rings() const { return std::max(senders, receivers); }
    int SenderOf(int ring) const { return ring % senders + 1; }  // rings from 0, the others from 1
    int ReceiverOf(int ring) const { return ring % receivers + 1; }

    std::vector<int> RingsOfSender(int sender) const { return Every(senders, sender); }
    std::vector<int> RingsOfReceiver(int receiver) const { return Every(receivers, receiver); }

private:
    std::vector<int> Every(int step, int first) const
    {
        std::vector<int> found;
        for (int ring = first - 1; ring < rings(); ring += step)
            found.push_back(ring);
        return found;
    }
};

}  // namespace fenwire

#endif
