/* The C interface from a C program, as a wrapper framework uses it: against the reference service over HTTPS. */

#define _GNU_SOURCE
#include <fcntl.h>
#include <ftw.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <curl/curl.h>

#include "corvana/corvana.h"

extern char** environ;

static int failures = 0;

static void check(int ok, int line, const char* what) {
  if (!ok) fprintf(stderr, "test_capi.c:%d: check failed: %s\n", line, what), ++failures;
}
static void check_int(long long actual, long long expected, int line, const char* what) {
  if (actual == expected) return;
  fprintf(stderr, "test_capi.c:%d: %s is %lld, expected %lld\n", line, what, actual, expected);
  ++failures;
}
static void check_str(const char* actual, const char* expected, int line, const char* what) {
  if (!actual || strcmp(actual, expected) != 0) {
    fprintf(stderr, "test_capi.c:%d: %s is \"%s\", expected \"%s\"\n", line, what, actual ? actual : "(NULL)",
            expected);
    ++failures;
  }
}
#define CHECK(condition) check((condition) != 0, __LINE__, #condition)
#define CHECK_INT(actual, expected) check_int((actual), (expected), __LINE__, #actual)
#define CHECK_STR(actual, expected) check_str((actual), (expected), __LINE__, #actual)

/* ---- The SDK's log, as the callback receives it ----------------------------------------------------------------- */

static pthread_mutex_t log_mutex = PTHREAD_MUTEX_INITIALIZER;
static char* log_lines[4096];
static size_t log_size = 0;

static void on_log(void* context, const char* line) {
  (void)context;
  pthread_mutex_lock(&log_mutex);
  if (log_size < sizeof log_lines / sizeof log_lines[0]) log_lines[log_size++] = strdup(line);
  pthread_mutex_unlock(&log_mutex);
}

static size_t log_count(const char* line) {
  size_t found = 0;
  pthread_mutex_lock(&log_mutex);
  for (size_t i = 0; i < log_size; ++i) found += strcmp(log_lines[i], line) == 0;
  pthread_mutex_unlock(&log_mutex);
  return found;
}

static void log_dump(void) {
  pthread_mutex_lock(&log_mutex);
  for (size_t i = 0; i < log_size; ++i) fprintf(stderr, "  log: %s\n", log_lines[i]);
  pthread_mutex_unlock(&log_mutex);
}

/* ---- The reference service as a child process ------------------------------------------------------------------ */

static pid_t service_pid = -1;
static int service_lifeline = -1; /* the service exits when its standard input closes */
static int service_port = 0;
static char service_cert[1024];

/* The service's own accounts: "acme" with the secret "s3cret" and the test token "T1". */
static int start_service(const char* dir) {
  int out[2], in[2];
  if (pipe2(out, O_CLOEXEC) != 0 || pipe2(in, O_CLOEXEC) != 0) return -1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  char* argv[] = {CORVANA_SERVICE_BINARY, "--host", "127.0.0.1", "--port", "0", "--dir", (char*)dir,
                  "--exit-with-stdin", NULL};
  const int rc = posix_spawn(&service_pid, argv[0], &actions, NULL, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  close(out[1]);
  close(in[0]);
  service_lifeline = in[1];
  if (rc != 0) return -1;

  /* "corvana-service listening on https://127.0.0.1:<port> (certificate <path>)"; nothing if it fails to start */
  char line[2048] = "";
  FILE* printed = fdopen(out[0], "r");
  if (!printed || !fgets(line, sizeof line, printed)) line[0] = '\0';
  if (printed) fclose(printed);
  if (sscanf(line, "corvana-service listening on https://127.0.0.1:%d (certificate %1023[^)])", &service_port,
             service_cert) != 2) {
    fprintf(stderr, "the service printed \"%s\"\n", line);
    return -1;
  }
  return 0;
}

static void stop_service(void) {
  if (service_pid <= 0) return;
  kill(service_pid, SIGTERM);
  close(service_lifeline);
  waitpid(service_pid, NULL, 0);
}

/* GET of an admin path; the body, malloc'd, or NULL. */
static char* admin_get(const char* path) {
  char url[512];
  snprintf(url, sizeof url, "https://127.0.0.1:%d%s", service_port, path);
  char* text = NULL;
  size_t size = 0;
  FILE* body = open_memstream(&text, &size);
  CURL* curl = curl_easy_init();
  curl_easy_setopt(curl, CURLOPT_URL, url);
  curl_easy_setopt(curl, CURLOPT_CAINFO, service_cert);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, body); /* the default writer appends to it */
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, 10L);
  const CURLcode rc = curl_easy_perform(curl);
  curl_easy_cleanup(curl);
  fclose(body);
  if (rc != CURLE_OK) {
    fprintf(stderr, "GET %s: %s\n", path, curl_easy_strerror(rc));
    free(text);
    return NULL;
  }
  return text;
}

static int remove_entry(const char* path, const struct stat* st, int flag, struct FTW* ftw) {
  (void)st, (void)flag, (void)ftw;
  return remove(path);
}

static void on_response(void* context) { ++*(int*)context; }

/* ---- The test ---------------------------------------------------------------------------------------------------- */

int main(void) {
  signal(SIGPIPE, SIG_IGN);
  char service_dir[] = "/tmp/corvana-capi-service-XXXXXX";
  char data_dir[] = "/tmp/corvana-capi-data-XXXXXX";
  if (!mkdtemp(service_dir) || !mkdtemp(data_dir) || start_service(service_dir) != 0) {
    fprintf(stderr, "cannot start the reference service\n");
    return 1;
  }
  curl_global_init(CURL_GLOBAL_DEFAULT);

  char domain[64], resolve_entry[128];
  snprintf(domain, sizeof domain, "corvana.test:%d", service_port);
  snprintf(resolve_entry, sizeof resolve_entry, "acme.corvana.test:%d:127.0.0.1", service_port);
  const char* resolve[] = {resolve_entry};
  corvana_platform_options options = {0};
  options.data_directory = data_dir;
  options.app_version = "2.3.1";
  options.bundle_identifier = "io.corvana.capi";
  options.bundle_path = CORVANA_SOURCE_RESOURCES;
  options.service_domain = domain;
  options.ca_file = service_cert;
  options.resolve = resolve;
  options.resolve_count = 1;
  options.device_model = "iPhone";
  options.log = on_log;
  CHECK_INT(corvana_platform_install_linux(&options), CORVANA_OK);
  CHECK_STR(corvana_sdk_version(), "0.8.4");

  /* Refused arguments answer their status and hand nothing to the SDK; freeing NULL is allowed. */
  CHECK_INT(corvana_initialize(NULL, "s3cret", "flutter", NULL), CORVANA_ERROR_NULL_ARGUMENT);
  CHECK_INT(corvana_initialize("acme", "s3cret", "flutter", "{\"a\":"), CORVANA_ERROR_INVALID_JSON);
  CHECK_INT(corvana_report_action("bad \xff name", NULL), CORVANA_ERROR_INVALID_ARGUMENT);
  CHECK_INT(corvana_sdk_initialized(), 0);
  corvana_lead_free(NULL);
  corvana_string_free(NULL);

  /* A record holding invalid UTF-8 cannot be written: its JSON fails inside the guard, the SDK refuses it. */
  corvana_lead* broken = corvana_lead_create();
  CHECK_INT(corvana_lead_set_first_name(broken, "\xff"), CORVANA_OK);
  CHECK(corvana_lead_to_json(broken) == NULL);
  CHECK_INT(log_count("CorvanaSDK-C interface: corvana_lead_to_json failed: [json.exception.type_error.316] "
                      "invalid UTF-8 byte at index 0: 0xFF"),
            1);
  CHECK_INT(corvana_associate_lead(broken), CORVANA_ERROR_INVALID_ARGUMENT);
  corvana_lead_free(broken);

  CHECK_INT(corvana_initialize("acme", "s3cret", "flutter", NULL), CORVANA_OK);
  CHECK_INT(corvana_wait_until_idle(15000), CORVANA_OK);
  CHECK_INT(corvana_sdk_initialized(), 1);
  CHECK_INT(log_count("CorvanaSDK-v.0.8.4 initialized successfully."), 1);

  char* device_id = corvana_get_device_id();
  CHECK(device_id && strlen(device_id) == 36 && strspn(device_id, "0123456789ABCDEF-") == 36);
  corvana_string_free(device_id);

  /* The records are copied when handed over: freeing them at once loses nothing. What the service receives is
     checked once the report has been answered. */
  corvana_lead* lead = corvana_lead_create();
  CHECK_INT(corvana_lead_set_first_name(lead, "Ada"), CORVANA_OK);
  CHECK_INT(corvana_lead_set_field(lead, "plan", "gold"), CORVANA_OK);
  const char* lead_json = "{\"firstName\":\"Ada\",\"plan\":\"gold\"}";
  char* lead_made = corvana_lead_to_json(lead);
  CHECK_STR(lead_made, lead_json);
  corvana_string_free(lead_made);
  CHECK_INT(corvana_associate_lead(lead), CORVANA_OK);
  corvana_lead_free(lead);

  corvana_action_metadata* details = corvana_action_metadata_create();
  CHECK_INT(corvana_action_metadata_set_type(details, "purchase"), CORVANA_OK);
  CHECK_INT(corvana_action_metadata_set_metric_int(details, 3), CORVANA_OK);
  CHECK_INT(corvana_action_metadata_set_value(details, "sku", "A-1"), CORVANA_OK);
  const char* details_json = "{\"Action Type\":\"purchase\",\"Action Metric\":3,\"sku\":\"A-1\"}";
  CHECK_INT(corvana_report_action("checkout", details), CORVANA_OK);
  corvana_action_metadata_free(details);

  const uint8_t token[] = {0xde, 0xad, 0xbe, 0xef};
  CHECK_INT(corvana_register_push_device_token(token, sizeof token), CORVANA_OK);
  char* hex = corvana_get_push_device_token();
  CHECK_STR(hex, "deadbeef");
  corvana_string_free(hex);
  int responses = 0;
  CHECK_INT(corvana_did_receive_notification_response("{\"aps\":{}}", on_response, &responses), CORVANA_OK);
  CHECK_INT(responses, 1);

  CHECK_INT(corvana_report_all(), CORVANA_OK);
  CHECK_INT(corvana_wait_until_idle(15000), CORVANA_OK);  /* the report is answered */

  char action[512], user[256];
  snprintf(action, sizeof action,
           "\"event_type\":\"checkpoint\",\"name\":\"checkout\",\"metadata\":%s,\"type\":\"custom\"}", details_json);
  snprintf(user, sizeof user, "\"event_type\":\"user\",\"user\":%s}", lead_json);
  char* events = admin_get("/__admin/events?account=acme");
  CHECK(events && strstr(events, action));
  CHECK(events && strstr(events, user));
  free(events);

  char* requests = admin_get("/__admin/requests");
  CHECK(requests && strstr(requests, "\"appbd\":\"Framework Type: flutter, SDK Version: 0.8.4\""));
  free(requests);

  if (failures) log_dump();
  stop_service();
  nftw(service_dir, remove_entry, 16, FTW_DEPTH | FTW_PHYS);
  nftw(data_dir, remove_entry, 16, FTW_DEPTH | FTW_PHYS);
  curl_global_cleanup();
  fprintf(stderr, "%d failed checks\n", failures);
  return failures == 0 ? 0 : 1;
}
