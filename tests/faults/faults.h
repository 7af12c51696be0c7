// Every allocation and system call of a path fails once, each in a process of its own.

#ifndef TESTS_FAULTS_FAULTS_H
#define TESTS_FAULTS_FAULTS_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulator/simulator.h"

/// Something that the driver does, done once without a fault in the way and once with one.
///
/// An object lives in one process: the parent's prepares what all need, such as a file; each
/// child's own makes one attempt that a fault may strike, and another one that must succeed.
class FaultPath
{
public:
    virtual ~FaultPath() = default;

    virtual std::string name() const = 0;

    /// What stands ready before the attempt; no fault strikes it.
    virtual void prepare() = 0;

    /// The attempt. \return whether the path says that it succeeded
    virtual bool attempt() = 0;

    /// Looks at the state after an attempt.
    /// \param succeeded  what `attempt` said
    /// \param struck     whether a call failed in it
    /// \return what is wrong with it, empty when it is as documented
    virtual std::string state(bool succeeded, bool struck) = 0;

    /// Gives back what `prepare` made.
    virtual void end() = 0;
};

std::unique_ptr<FaultPath> makeTableBuild();
std::unique_ptr<FaultPath> makeStart(Simulator &simulator);
std::unique_ptr<FaultPath> makeOpen(const Simulator &simulator);
std::unique_ptr<FaultPath> makePoll(Simulator &simulator);
std::unique_ptr<FaultPath> makeWrite(const Simulator &simulator);
std::unique_ptr<FaultPath> makeSave();
std::unique_ptr<FaultPath> makeLoad();

/// What became of the calls of one path.
struct FaultTally {
    std::string path;
    long calls = 0;     ///< that the path makes
    long failed = 0;    ///< calls that were made to fail: one process each
    long succeeded = 0; ///< the attempt succeeded in spite of it
    long reported = 0;  ///< the attempt failed as documented
    /// What a library did not bear of its own calls, and how often.
    std::map<std::string, long> lost;
    /// What a library did later, or left over, and may have done on its own.
    std::map<std::string, long> unproven;
    std::map<std::string, long> broken; ///< what was wrong, and how often
};

/// Lets calls of the path fail: the `first`, and each `step`th from there on.
FaultTally failCalls(FaultPath *path, long first, long step);

#endif // TESTS_FAULTS_FAULTS_H
