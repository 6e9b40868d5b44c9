// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// gRPC over a socket in the file system: unary calls, and one stream of one-way messages, which
// the library may gather. Its further options changed nothing that could be told from noise.
#include <bench.grpc.pb.h>
#include <grpcpp/grpcpp.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench/harness/harness.h"

namespace {

using namespace velp::bench;

constexpr int unlimited = -1;

View bytesOf(const rpc::Bytes& message) {
  return {message.bytes().data(), message.bytes().size()};
}

void set(rpc::Bytes& message, const Bytes& bytes) {
  message.set_bytes(bytes.data(), bytes.size());
}

void check(const grpc::Status& status) {
  if (!status.ok()) throw std::runtime_error(status.error_message());
}

class Service : public rpc::Bench::Service {
 public:
  explicit Service(const Options& options) : tally(options.count), size(options.answer) {}
  grpc::Status Ask(grpc::ServerContext* /*context*/, const rpc::Bytes* request,
                   rpc::Bytes* answer) override {
    thread_local Answer bytes(size);
    set(*answer, bytes.to(bytesOf(*request)));
    return grpc::Status::OK;
  }
  grpc::Status Tell(grpc::ServerContext* /*context*/, grpc::ServerReader<rpc::Bytes>* reader,
                    rpc::Nothing* /*nothing*/) override {
    rpc::Bytes message;
    while (reader->Read(&message)) tally.add();
    return grpc::Status::OK;
  }
  Tally tally;

 private:
  const std::size_t size;
};

std::unique_ptr<grpc::Server> start(Service& service, const std::string& address) {
  grpc::ServerBuilder builder;
  builder.AddListeningPort("unix:" + address, grpc::InsecureServerCredentials());
  builder.SetMaxReceiveMessageSize(unlimited);
  builder.RegisterService(&service);
  std::unique_ptr<grpc::Server> server = builder.BuildAndStart();
  if (server == nullptr) throw std::runtime_error("cannot listen at " + address);
  return server;
}

std::unique_ptr<rpc::Bench::Stub> connectTo(const std::string& address) {
  grpc::ChannelArguments arguments;
  arguments.SetMaxReceiveMessageSize(unlimited);
  return rpc::Bench::NewStub(
      grpc::CreateCustomChannel("unix:" + address, grpc::InsecureChannelCredentials(), arguments));
}

void serve(const Options& options) {
  Service service(options);
  const auto server = start(service, options.address);
  serveUntilEnd();
  std::_Exit(0);
}

void ask(const Options& options) {
  const auto stub = connectTo(options.address);
  rpc::Bytes request;
  rpc::Bytes answer;
  measure(options, [&](const Bytes& bytes) {
    grpc::ClientContext context;
    set(request, bytes);
    check(stub->Ask(&context, request, &answer));
    return bytesOf(answer);
  });
}

void count(const Options& options) {
  Service service(options);
  const auto server = start(service, options.address);
  service.tally.report();
  std::_Exit(0);
}

void send(const Options& options) {
  const auto stub = connectTo(options.address);
  grpc::ClientContext context;
  rpc::Nothing nothing;
  rpc::Bytes message;
  const grpc::WriteOptions gathered = grpc::WriteOptions().set_buffer_hint();
  const auto writer = stub->Tell(&context, &nothing);
  sendAll(options, [&](const Bytes& bytes) {
    set(message, bytes);
    return writer->Write(message, gathered);
  });
  writer->WritesDone();
  check(writer->Finish());
}

}  // namespace

int main(int argc, char** argv) {
  return run(argc, argv, {serve, ask, count, send});
}
