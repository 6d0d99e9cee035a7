// Prints the result of CodesignCheck, as run by a helper:
//   CheckClient matches PID | self | deleted-self PROGRAM | pid PID | path PATH

#include "helper/CodesignCheck.h"
#include "helper/CodesignCheckError.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

namespace {

using namespace veltra;

std::string subjectsOf(const CodesignCheck::Certificates& certificates)
{
    std::string subjects;
    for (const SecCertificate& certificate : certificates)
        subjects += certificate.subject() + "\n";
    return subjects;
}

std::string answer(const std::string& question, const std::string& subject)
{
    if (question == "matches")
        return CodesignCheck::codeSigningMatches(std::stoi(subject)) ? "true\n" : "false\n";
    if (question == "deleted-self")
        std::filesystem::remove(subject);
    if (question.ends_with("self"))
        return subjectsOf(CodesignCheck::codeSigningCertificatesForSelf());
    if (question == "pid")
        return subjectsOf(CodesignCheck::codeSigningCertificates(std::int32_t{std::stoi(subject)}));
    return subjectsOf(CodesignCheck::codeSigningCertificates(std::filesystem::path{subject}));
}

} // namespace

int main(int argc, char** argv)
{
    try {
        std::fputs(answer(argv[1], argc > 2 ? argv[2] : "").c_str(), stdout);
        return 0;
    } catch (const CodesignCheckError& error) {
        std::printf("%s\n", error.description().c_str());
        return 1;
    }
}
