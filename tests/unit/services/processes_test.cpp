// What a table of primitives can't reach: refused memory, the end of a run, and long histories of
// the list against a plain model of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "app/boot.h"
#include "kernel/evaluator.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "platform/clock.h"
#include "platform/zone.h"
#include "services/processes.h"

static Value make_process(const char* name)
{
    return call_value(intern("new-process"), intern("void"), intern(name), make_fixnum(1), nil,
                      nil, nil);
}

static SpaceSizes sizes()
{
    SpaceSizes small;
    small.symbols = 8192;
    small.lisp_stack = 1 << 16;
    small.prolog_stack = 1 << 10;
    small.nodes = 100000;
    small.heap = 4 << 20;
    small.reserve = 0;
    small.machine_stack = 2 << 20;
    return small;
}

TEST(processes, refused_memory_answers_no_value)
{
    run_interpreter(sizes(), [] {
        zone_refuse_allocation(1);
        EXPECT_EQ(make_process("first"), no_value);
        zone_refuse_allocation(0);
        EXPECT_EQ(pointer_kind(make_process("second")), kPointerProcess);
        return 0;
    });
}

TEST(processes, the_end_deletes_them_all)
{
    run_interpreter(sizes(), [] {
        const uint32_t before = zone_available();
        const Value listed = make_process("listed");
        make_process("unlisted");
        call_value(intern("run-process"), listed);
        EXPECT_LT(zone_available(), before);
        close_processes();
        EXPECT_EQ(zone_available(), before);
        EXPECT_EQ(call_value(intern("get-process-name"), listed), no_value);
        EXPECT_EQ(call_value(intern("get-processes")), nil);
        return 0;
    });
}

// ---- Histories

namespace {

constexpr int kCount = 5;

struct Modelled {
    int id;
    int32_t quantum;
    uint32_t wake_up;
    bool delayed, once, suspended;
};

// The list in its order, with whole numbers for ticks.
class Model {
public:
    uint32_t now = 0;
    std::vector<Modelled> list;
    std::vector<int> ran;

    Modelled* find(int id)
    {
        for (Modelled& process : list)
            if (process.id == id)
                return &process;
        return nullptr;
    }
    void insert(const Modelled& process)
    {
        const auto later = [&](const Modelled& other) { return other.wake_up > process.wake_up; };
        list.insert(std::find_if(list.begin(), list.end(), later), process);
    }
    void remove(int id)
    {
        std::erase_if(list, [id](const Modelled& process) { return process.id == id; });
    }
    void place_again(int id)
    {
        const Modelled process = *find(id);
        remove(id);
        insert(process);
    }
    void step()
    {
        if (list.empty() || list[0].suspended || list[0].wake_up > now)
            return;
        const int id = list[0].id;
        ran.push_back(id);
        list[0].wake_up = now + static_cast<uint32_t>(list[0].quantum);
        if (list[0].once)
            list.erase(list.begin());
        else if (list.size() > 1 && list[0].wake_up >= list[1].wake_up)
            place_again(id);
    }
};

std::vector<int> ran;

template <int id> Value note()
{
    ran.push_back(id);
    return no_value;
}

const Primitive note_primitives[kCount] = {
    { "note0", note<0>, "" }, { "note1", note<1>, "" }, { "note2", note<2>, "" },
    { "note3", note<3>, "" }, { "note4", note<4>, "" },
};

Value name_of(int id)
{
    return intern(note_primitives[id].name);
}

std::vector<uint32_t> wake_ups()
{
    std::vector<uint32_t> ticks_;
    for (Value list = call_value(intern("get-processes")); list != nil; list = cdr_of(list))
        ticks_.push_back(unsigned_value(call_value(intern("get-process-wake-up"), car_of(list))));
    return ticks_;
}

class History {
public:
    explicit History(uint32_t seed) : state_(seed) { model_.now = ticks(); }

    void act()
    {
        const int id = static_cast<int>(below(kCount));
        Modelled* const known = model_.find(id);
        switch (below(8)) {
        case 0:
        case 1:
            if (!known)
                start(id);
            break;
        case 2:
            call_value(intern("kill-process"), name_of(id));
            model_.remove(id);
            break;
        case 3:
            call_value(intern("wake-up-process"), name_of(id));
            if (known) {
                known->wake_up = model_.now;
                model_.place_again(id);
            }
            break;
        case 4:
            change_quantum(id, known);
            break;
        case 5:
            call_value(intern(below(3) ? "resume-process" : "suspend-process"), name_of(id));
            if (known)
                known->suspended = call_value(intern("process-suspended?"), name_of(id)) != nil;
            break;
        case 6:
            advance_virtual_clock(below(200));
            model_.now = ticks();
            break;
        default:
            give_time();
            model_.step();
        }
    }

    void check(uint32_t seed)
    {
        std::vector<uint32_t> wanted;
        for (const Modelled& process : model_.list)
            wanted.push_back(process.wake_up);
        EXPECT_EQ(wake_ups(), wanted) << "seed " << seed;
        EXPECT_EQ(ran, model_.ran) << "seed " << seed;
    }

private:
    uint32_t below(uint32_t n)
    {
        state_ = state_ * 1664525 + 1013904223;
        return (state_ >> 8) % n;
    }
    void start(int id)
    {
        const int32_t quantum = static_cast<int32_t>(below(12));
        const bool delayed = below(2), once = below(4) == 0;
        const Value process = call_value(intern("new-process"), name_of(id), nil,
                                         make_fixnum(quantum), boolean(delayed),
                                         boolean(once), nil);
        call_value(intern("run-process"), process);
        const uint32_t wait = delayed ? static_cast<uint32_t>(quantum) : 0;
        model_.insert({ id, quantum, model_.now + wait, delayed, once, false });
    }
    void change_quantum(int id, Modelled* known)
    {
        const int32_t quantum = static_cast<int32_t>(below(12));
        call_value(intern("set-process-quantum"), name_of(id), make_fixnum(quantum));
        if (!known)
            return;
        known->wake_up += static_cast<uint32_t>(quantum - known->quantum);
        known->quantum = quantum;
        model_.place_again(id);
    }

    Model model_;
    uint32_t state_;
};

}

TEST(processes, histories_agree_with_a_plain_list)
{
    for (uint32_t seed = 1; seed <= 60 && !testing::Test::HasFailure(); ++seed) {
        run_interpreter(sizes(), [seed] {
            use_virtual_clock(100000);
            define_primitives(note_primitives);
            ran.clear();
            History history(seed);
            for (int i = 0; i < 300; ++i)
                history.act();
            history.check(seed);
            use_real_clock();
            return 0;
        });
    }
    EXPECT_GT(ran.size(), 10u);
}
