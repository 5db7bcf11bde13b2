// The reference service.
namespace corvana::service {}
