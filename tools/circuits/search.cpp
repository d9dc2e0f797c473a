// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The outputs of a box are built one after the other, in an order by chance, from the wires that
// are there: inputs, and gates that the outputs before have needed. A function that is wanted only
// for some inputs of the box is, in this order,
//   - a wire that is right there, or one that is wrong everywhere there, negated;
//   - one gate between two wires;
//   - two gates: one wire, and a gate between two others;
//   - a choice by an input of the box that was not chosen by before: f where it is 0, and what has
//   to
//     change where it is 1, or the other way round. Both are built in the same manner, with half of
//     the inputs of the box left to care for. Which input is tried first is chance, too.
// The fewer inputs there are to care for, the more wires are right by accident; that is why sharing
// comes by itself.

#include "circuits/search.hpp"

#include <algorithm>
#include <bit>
#include <numeric>
#include <random>
#include <utility>

namespace quorra::des {
namespace {

using Engine = std::mt19937_64;

// Unlike std::shuffle the same everywhere.
template <typename Items>
void shuffle(Items& items, Engine& engine) {
  for (std::size_t i = items.size(); i > 1; --i)
    std::swap(items[i - 1], items[engine() % i]);
}

// What a wire has to be, and for which inputs of the box.
struct Wanted {
  TruthTable value;  // 0 where nobody cares
  TruthTable care;
};

Wanted wanted(TruthTable value, TruthTable care) { return {value & care, care}; }

using Wire = std::uint8_t;

class Network {
 public:
  static constexpr std::size_t most_wires = box_inputs + most_gates;

  Network() {
    for (std::size_t i = 0; i < box_inputs; ++i)
      truth_[wires_++] = truth_of_input(i);
  }

  std::size_t wires() const { return wires_; }
  TruthTable truth(std::size_t wire) const { return truth_[wire]; }
  Gate gate(std::size_t wire) const { return gates_[wire]; }

  // A wire that is there already is not built again.
  Wire add(Gate gate) {
    const TruthTable truth = put_out(gate.operation, truth_[gate.first], truth_[gate.second]);
    std::size_t wire = 0;
    while (wire < wires_ && truth_[wire] != truth)
      ++wire;
    if (wire == wires_) {
      truth_[wires_] = truth;
      gates_[wires_++] = gate;
    }
    return static_cast<Wire>(wire);
  }

  std::optional<Wire> wire_for(Wanted want) const {
    for (std::size_t i = 0; i < wires_; ++i) {
      if ((truth_[i] & want.care) == want.value) return static_cast<Wire>(i);
    }
    return std::nullopt;
  }

  std::optional<Gate> negation_for(Wanted want) const {
    const auto wire = wire_for(wanted(~want.value, want.care));
    if (!wire) return std::nullopt;
    return Gate{Operation::negation, *wire, *wire};
  }

  std::optional<Gate> gate_for(Wanted want) const {
    for (std::size_t i = 0; i < wires_; ++i) {
      const TruthTable difference = (truth_[i] & want.care) ^ want.value;
      for (std::size_t j = 0; j < i; ++j) {
        if ((truth_[j] & want.care) == difference) return gate(Operation::differ, i, j);
      }
    }
    // Wires that are 1 wherever it is wanted, those that are so nowhere else, and those that are so
    // only where it is not wanted.
    Group above;
    Group below;
    Group beside;
    for (std::size_t i = 0; i < wires_; ++i) {
      const TruthTable cared = truth_[i] & want.care;
      if ((want.value & ~cared) == 0) above.add(i, cared);
      if ((cared & ~want.value) == 0) below.add(i, cared);
      if ((cared & want.value) == 0) beside.add(i, cared);
    }
    for (std::size_t i = 0; i < above.size; ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        if ((above.cared[i] & above.cared[j]) == want.value)
          return gate(Operation::both, above.wires[i], above.wires[j]);
      }
      for (std::size_t j = 0; j < beside.size; ++j) {
        if ((above.cared[i] & ~beside.cared[j]) == want.value)
          return gate(Operation::only_first, above.wires[i], beside.wires[j]);
      }
    }
    for (std::size_t i = 0; i < below.size; ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        if ((below.cared[i] | below.cared[j]) == want.value)
          return gate(Operation::either, below.wires[i], below.wires[j]);
      }
    }
    return std::nullopt;
  }

  // A gate, and what its other operand has to be when one is a wire that is there.
  struct Step {
    Gate gate;  // the operand to be built is given as `open`
    Wanted want;
  };
  static constexpr Wire open = 0xFF;

  std::optional<Wire> add_two_gates_for(Wanted want) {
    for (std::size_t i = 0; i < wires_; ++i) {
      const auto wire = static_cast<Wire>(i);
      const TruthTable cared = truth_[i] & want.care;
      const TruthTable other = ~truth_[i] & want.care;
      if (const auto found =
              finish({{Operation::differ, open, wire}, {want.value ^ cared, want.care}}))
        return found;
      if ((want.value & other) == 0) {
        if (const auto found = finish({{Operation::both, open, wire}, {want.value, cared}}))
          return found;
        if (const auto found =
                finish({{Operation::only_first, wire, open}, wanted(~want.value, cared)}))
          return found;
      }
      if ((cared & ~want.value) == 0) {
        if (const auto found = finish({{Operation::either, open, wire}, wanted(want.value, other)}))
          return found;
      }
      if ((want.value & cared) == 0) {
        if (const auto found = finish({{Operation::only_first, open, wire}, {want.value, other}}))
          return found;
      }
    }
    return std::nullopt;
  }

 private:
  struct Group {
    std::size_t size = 0;
    std::array<Wire, most_wires> wires{};
    std::array<TruthTable, most_wires> cared{};

    void add(std::size_t wire, TruthTable truth) {
      wires[size] = static_cast<Wire>(wire);
      cared[size++] = truth;
    }
  };

  static Gate gate(Operation operation, std::size_t first, std::size_t second) {
    return {operation, static_cast<Wire>(first), static_cast<Wire>(second)};
  }

  std::optional<Wire> finish(Step step) {
    const auto inner = gate_for(step.want);
    if (!inner) return std::nullopt;
    const Wire wire = add(*inner);
    if (step.gate.first == open)
      step.gate.first = wire;
    else
      step.gate.second = wire;
    return add(step.gate);
  }

  std::size_t wires_ = 0;
  std::array<TruthTable, most_wires> truth_{};
  std::array<Gate, most_wires> gates_{};
};

class Search {
 public:
  Search(std::uint64_t seed, std::size_t below) : engine_(seed), most_(box_inputs + below - 1) {}

  std::optional<FoundCircuit> build(std::size_t box) {
    std::array<std::size_t, box_outputs> order{0, 1, 2, 3};
    shuffle(order, engine_);
    FoundCircuit circuit;
    Network network;
    for (const std::size_t output : order) {
      const auto wire = extend(network, {truth_of_output(box, output), ~TruthTable{0}}, 0, most_);
      if (!wire) return std::nullopt;
      circuit.outputs[output] = *wire;
    }
    for (std::size_t i = box_inputs; i < network.wires(); ++i)
      circuit.gates.push_back(network.gate(i));
    return circuit;
  }

 private:
  // Adds what is wanted, with `most` wires at most in the end. `chosen` has a bit for each input of
  // the box by which there was a choice.
  std::optional<Wire> extend(Network& network, Wanted want, unsigned chosen, std::size_t most) {
    if (const auto wire = network.wire_for(want)) return wire;
    if (network.wires() + 1 > most) return std::nullopt;
    if (const auto gate = network.negation_for(want)) return network.add(*gate);
    if (const auto gate = network.gate_for(want)) return network.add(*gate);
    if (network.wires() + 2 > most) return std::nullopt;
    if (const auto wire = network.add_two_gates_for(want)) return wire;
    if (network.wires() + 3 > most) return std::nullopt;
    return extend_by_choice(network, want, chosen, most);
  }

  struct Choice {
    std::size_t input;
    bool first_where_set;
  };

  std::vector<Choice> choices(unsigned chosen) {
    std::vector<Choice> all;
    for (std::size_t input = 0; input < box_inputs; ++input) {
      if ((chosen >> input & 1U) == 0) {
        all.push_back({input, false});
        all.push_back({input, true});
      }
    }
    shuffle(all, engine_);
    // All ways to build an output would take too long; below that each is tried.
    if (chosen == 0) all.resize(1);
    return all;
  }

  std::optional<Wire> extend_by_choice(Network& network, Wanted want, unsigned chosen,
                                       std::size_t most) {
    std::optional<Wire> best;
    Network best_network;
    for (const Choice choice : choices(chosen)) {
      Network trial = network;
      const auto wire = choose(trial, want, chosen, choice, most);
      if (!wire) continue;
      best = wire;
      best_network = trial;
      most = trial.wires() - 1;
    }
    if (best) network = best_network;
    return best;
  }

  std::optional<Wire> choose(Network& network, Wanted want, unsigned chosen, Choice choice,
                             std::size_t most) {
    const TruthTable set = network.truth(choice.input);
    const TruthTable begin = choice.first_where_set ? set : ~set;
    chosen |= 1U << choice.input;
    const auto one = extend(network, wanted(want.value, want.care & begin), chosen, most - 2);
    if (!one) return std::nullopt;
    const TruthTable change = want.value ^ network.truth(*one);
    const auto other = extend(network, wanted(change, want.care & ~begin), chosen, most - 2);
    if (!other) return std::nullopt;
    const auto operation = choice.first_where_set ? Operation::only_first : Operation::both;
    const Wire changed = network.add({operation, *other, static_cast<Wire>(choice.input)});
    return network.add({Operation::differ, *one, changed});
  }

  Engine engine_;
  std::size_t most_;
};

}  // namespace

TruthTable put_out(Operation operation, TruthTable first, TruthTable second) {
  switch (operation) {
    case Operation::both:
      return put_out<Operation::both>(first, second);
    case Operation::either:
      return put_out<Operation::either>(first, second);
    case Operation::differ:
      return put_out<Operation::differ>(first, second);
    case Operation::only_first:
      return put_out<Operation::only_first>(first, second);
    case Operation::negation:
      return put_out<Operation::negation>(first, second);
  }
  return 0;
}

std::optional<FoundCircuit> attempt(std::size_t box, std::uint64_t seed, std::size_t below) {
  return Search(seed, below).build(box);
}

}  // namespace quorra::des
