# The everyday commands. All set up what is missing first and work in build/release.

.PHONY: demo pictures test bench check clean deps

demo:
	scripts/demo.sh

# The pictures of the documents, docs/pictures, anew.
pictures: deps
	scripts/pictures.sh

# The whole suite.
test: deps
	scripts/ci.sh release

bench: deps
	scripts/bench.sh

# The suite with both compilers and all sanitizers, warnings not allowed.
check:
	.ci/run

clean:
	rm -rf build

deps:
	@scripts/install-deps.sh
