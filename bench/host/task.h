// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace hardware::velta::bench {

/** A piece of work whose instructions are counted. */
class Task {
  public:
    virtual ~Task() = default;
    /** What has to be there before each run; not counted. */
    virtual void Prepare() {}
    virtual void Run() = 0;
    /** @return what the last run made, as text: the same on both sides. */
    virtual std::string Result() = 0;
};

/** Pieces of work of one kind: the service's, the floor's, and the sizes that they are done for. */
struct Kind {
    const char* name;
    const char* unit;
    double goal;
    std::vector<int> sizes;
    std::unique_ptr<Task> (*ours)(int size);
    std::unique_ptr<Task> (*floor)(int size);
};

std::unique_ptr<Task> NewEncode(int size);
std::unique_ptr<Task> NewPlainEncode(int size);
std::unique_ptr<Task> NewParse(int peers);
std::unique_ptr<Task> NewPlainParse(int peers);
std::unique_ptr<Task> NewLoad(int lines);
std::unique_ptr<Task> NewPlainLoad(int lines);
std::unique_ptr<Task> NewPack(int keys);
std::unique_ptr<Task> NewPlainPack(int keys);

}  // namespace hardware::velta::bench
