// A plug-in of clang, loaded by clang-tidy: the checks visit this tree's code only, not the headers
// of the system. Visiting those takes most of the time, and findings in them are not reported.

#include <memory>
#include <string>
#include <vector>

#include <clang/AST/ASTConsumer.h>
#include <clang/AST/ASTContext.h>
#include <clang/AST/Decl.h>
#include <clang/Frontend/FrontendPluginRegistry.h>

namespace {

class own_code : public clang::ASTConsumer {
  public:
    void HandleTranslationUnit(clang::ASTContext& context) override {
        auto const& sources = context.getSourceManager();
        std::vector<clang::Decl*> own;
        for (clang::Decl* each : context.getTranslationUnitDecl()->decls()) {
            if (each->getLocation().isValid() && !sources.isInSystemHeader(each->getLocation())) {
                own.push_back(each);
            }
        }
        context.setTraversalScope(own);
    }
};

class own_code_action : public clang::PluginASTAction {
  protected:
    std::unique_ptr<clang::ASTConsumer> CreateASTConsumer(clang::CompilerInstance& /*compiler*/,
                                                          llvm::StringRef /*file*/) override {
        return std::make_unique<own_code>();
    }

    bool ParseArgs(clang::CompilerInstance const& /*compiler*/,
                   std::vector<std::string> const& /*arguments*/) override {
        return true;
    }

    ActionType getActionType() override { return AddBeforeMainAction; }
};

clang::FrontendPluginRegistry::Add<own_code_action> const k_registered("own-code", "");

}  // namespace
