# `make compilers`: the tests, with the module as each supported compiler builds it.

supported_compilers := g++-12 g++-13 g++-14 clang++-14 clang++-15 clang++-16 clang++-17 clang++-18 \
    clang++-19 clang++-19+libc++

.PHONY: compilers
compilers: tools .venv/group-build .venv/group-test ## run the tests with each compiler that is installed, or each of COMPILERS=
	@sh checks/compilers/compilers.sh $(if $(COMPILERS),required $(COMPILERS),optional $(supported_compilers))
