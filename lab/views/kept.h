#pragma once
// Views of the world that are kept from request to request.
#include "lab/views/views.h"

#include <memory>
#include <typeindex>

// A view of the world that is kept until what it was made from changes.
template <class T> class Kept {
public:
    template <class Make> const T& at(uint64_t revision, Make&& make)
    {
        if (!made_ || revision_ != revision)
            value_ = make();
        made_ = true;
        revision_ = revision;
        return value_;
    }

private:
    T value_{};
    uint64_t revision_ = 0;
    bool made_ = false;
};

// The views of one state of the traffic, each made when it is first asked for.
struct KeptViews {
    Kept<std::vector<const Session*>> resets, white_flows;
    Kept<std::vector<Throughput>> throughput;
    Kept<std::vector<HostReport>> hosts;
    Kept<std::vector<MaliciousEvent>> malicious;
    Kept<std::vector<AssetReport>> assets;
    Kept<std::vector<SignatureReport>> signatures;
    Kept<std::vector<SignatureHit>> hits;
    Kept<std::vector<WhiteReport>> white_addresses;

    // One that only a single request handler knows, by its type.
    template <class T> Kept<T>& other()
    {
        std::shared_ptr<void>& view = others_[typeid(T)];
        if (!view)
            view = std::make_shared<Kept<T>>();
        return *static_cast<Kept<T>*>(view.get());
    }

private:
    std::unordered_map<std::type_index, std::shared_ptr<void>> others_;
};
