// What must hold for the schema as a whole, beyond what idlc checks.
#include <algorithm>
#include <set>

#include "Schema.hpp"

namespace {

void expect(Schema& schema, bool holds, const std::string& where, const char* what) {
    if (!holds) {
        Schema_addError(&schema, where.c_str(), what);
    }
}

void checkMembers(Schema& schema, const Type& type) {
    std::set<std::uint32_t> ids;
    std::set<std::int64_t> labels;
    for (const auto& member : type.members) {
        expect(schema, ids.insert(member.id).second, type.name + "." + member.name,
            "an id that another member has");
        expect(schema, member.id <= 0x0FFFFFFF, type.name + "." + member.name, "an id of more than 28 bits");
        for (const auto label : member.labels) {
            expect(schema, labels.insert(label).second, type.name + "." + member.name, "a label twice");
        }
    }
    expect(schema, !type.isAggregate() || !type.members.empty(), type.name, "no members");
}

// Labels are hashes: of the class in the samples, of the operation or exception in the command service.
void checkLabels(Schema& schema, const Type& type) {
    const auto shortName = type.name.substr(type.name.rfind(':') + 1);
    for (const auto& arm : type.members) {
        const auto label = arm.labels.empty() ? 0 : arm.labels.front();
        const auto where = type.name + "." + arm.name;
        if (shortName == "EventUnion" || shortName == "PeriodicUnion") {
            expect(schema, label == idHash(arm.name), where, "a label that is not the id of the class");
        } else if (shortName == "MonitoringService_Call" || shortName == "MonitoringService_Return") {
            expect(schema, label == static_cast<std::int32_t>(hash32(arm.name)), where,
                "a label that is not the hash of the operation");
        } else if (shortName.ends_with("_Result") && arm.name != "result") {
            const auto& exception = arm.type->name;
            expect(schema,
                label == static_cast<std::int32_t>(hash32(exception.substr(exception.rfind(':') + 1))), where,
                "a label that is not the hash of the exception");
        }
    }
}

bool hasSequence(const Type& element) {
    const Type& target = element.target();
    return target.kind != Kind::Primitive || !cSequenceName(element).empty();
}

} // namespace

void checkSchema(Schema& schema) {
    for (const auto& type : schema.types) {
        expect(schema, type->kind != Kind::Sequence || hasSequence(*type->element), "sequence",
            "elements for which zddsc/sequence.h has none");
    }
    for (const auto* type : schema.named) {
        checkMembers(schema, *type);
        if (type->kind == Kind::Union) {
            checkLabels(schema, *type);
        }
        expect(schema, std::ranges::is_sorted(type->literals, {}, &Literal::value), type->name,
            "literals that do not ascend");
    }
}
