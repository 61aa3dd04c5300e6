// Signs in from a browser. The desktop program has a sign-in screen of its own and never shows this page.

import { request } from "/api.js";

const form = document.getElementById("form");
const message = document.getElementById("message");
const submit = document.getElementById("submit");

form.addEventListener("submit", async (event) => {
  event.preventDefault();
  submit.disabled = true;
  message.textContent = "";
  try {
    await request("POST", "/api/auth/login", {
      username: form.elements.username.value,
      password: form.elements.password.value,
    });
    location.assign("/");
  } catch (error) {
    message.textContent = error.message;
    submit.disabled = false;
    form.elements.password.select();
  }
});
